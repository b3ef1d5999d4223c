#pragma once

#include <atomic>
#include <memory>

#include "host/core/core_string.h"
#include "host/core/unique_string.h"
#include "host/gmath/gmath_vec2.h"
#include "image_io/frame/export.h"
#include "image_io/frame/library_names.h"
#include "image_io/texture/map_eval_ctx.h"

OIIO_NAMESPACE_BEGIN
class TextureSystem;
OIIO_NAMESPACE_END

/// The renderer's texture lookups: one texture system of OpenImageIO for the whole process. Caching, filtering and
/// file access are OpenImageIO's.
///
/// Owns     the texture system, which copies of the object share
/// Errors   nothing throws; false, zero or an empty text
/// Threads  any number for lookups, sizes, limits and reports; `clear`, `destroy` and assignments while no lookup runs
class ZV_IMAGE_IO_EXPORT ImageIOTextureStream {
public:
    /// The instance, made at the first use; null only if there is no memory for it.
    static ImageIOTextureStream* get_texture_stream();
    /// Ends the instance. The next use makes a new one, with the last cache limit.
    static void destroy();

    ImageIOTextureStream(ImageIOTextureStream const& other) = default;
    ImageIOTextureStream& operator=(ImageIOTextureStream const& other) = default;
    ~ImageIOTextureStream();

    /// Forgets all that is cached and starts afresh, under the limit of `set_cache_size`. Does nothing without an
    /// instance.
    void clear();

    /// One lookup.
    ///
    /// Shape    `result`: ctx.channel_count floats, at least 3 for one channel, 4 if ctx.channels is null
    /// Units    `swrap`, `twrap`: OpenImageIO's TextureOpt::Wrap; `interp`: 0 closest, 1 bilinear, 2 bicubic, all
    ///          else smart bicubic; `mip`: 0 default, 1 none, 2 one level, 4 anisotropic, all else trilinear
    /// Returns  false, and 1.0 for what is not known, if the file cannot be read or an argument makes no sense: a wrap
    ///          that is none, a channel below 0 or above the limit of OpenImageIO ("limits:channels"), a coordinate,
    ///          derivative or blur that is no finite float. A channel that the file lacks is 1.0 and no failure. One
    ///          channel fills three floats.
    bool evaluate(UniqueString const& name, MapEvalCtx& ctx, int const& swrap, int const& twrap,
                  int const& interp, int const& mip, float* result);

    /// The limit of the cache in megabytes; 0 if it is not known.
    static float get_cache_size();
    static void set_cache_size(double const& megabytes);

    /// The full size of a texture in pixels; (0, 0) if it cannot be read.
    GMathVec2<int> get_image_size(UniqueString const& name) const;

    /// What the cache's memory line in the statistics says, in bytes; 0 without one.
    unsigned long long get_memory_size() const;
    /// The statistics from that line's value on; it reaches past the line's end.
    CoreString get_peak_cache_memory();
    /// OpenImageIO's own statistics text.
    CoreString get_stats(int level);

    /// Forgets one file, so that it is read anew.
    void invalidate(UniqueString const& name);
    /// The same for all files; without `force` only for those that changed.
    void invalidate_all(bool force);

    /// For direct use by others; owned by this object.
    OIIO::TextureSystem* get_oiio_texture_system();

private:
    ImageIOTextureStream();

    void start();

    std::shared_ptr<OIIO::TextureSystem> m_texture_system;

    static std::atomic<ImageIOTextureStream*> m_texture_singleton;
    static std::atomic<float> m_cache_size;  // in megabytes; outlives the instance
};
