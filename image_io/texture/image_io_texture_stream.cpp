#include "image_io/texture/image_io_texture_stream.h"

#include <OpenImageIO/texture.h>

#include <mutex>

#include "image_io/frame/guarded.h"
#include "image_io/texture/cache_limit.h"
#include "image_io/texture/judged_files.h"
#include "image_io/texture/lookup_gate.h"
#include "image_io/texture/texture_lookup.h"

using zv_image_io::guarded;
using zv_image_io::LookupGate;

std::atomic<ImageIOTextureStream*> ImageIOTextureStream::m_texture_singleton = nullptr;
std::atomic<float> ImageIOTextureStream::m_cache_size = 500.0f;

namespace {

std::mutex s_creation;

/// One for all streams, as there is one image cache behind them.
zv_image_io::LookupGate s_gate;
zv_image_io::JudgedFiles s_judged;

}  // namespace

ImageIOTextureStream::ImageIOTextureStream()
{
    start();
}

ImageIOTextureStream::~ImageIOTextureStream() = default;

void ImageIOTextureStream::start()
{
    std::shared_ptr<OIIO::TextureSystem> const fresh = {
        OIIO::TextureSystem::create(true, nullptr),
        [](OIIO::TextureSystem* system) { OIIO::TextureSystem::destroy(system, false); }};
    zv_image_io::set_cache_limit(*fresh, m_cache_size);
    fresh->attribute("gray_to_rgb", 1);
    m_texture_system = fresh;
}

ImageIOTextureStream* ImageIOTextureStream::get_texture_stream()
{
    if (ImageIOTextureStream* const instance = m_texture_singleton.load(std::memory_order_acquire))
        return instance;
    return guarded(static_cast<ImageIOTextureStream*>(nullptr), [] {
        std::lock_guard const guard(s_creation);
        ImageIOTextureStream* instance = m_texture_singleton.load(std::memory_order_relaxed);
        if (!instance) {
            instance = new ImageIOTextureStream;
            m_texture_singleton.store(instance, std::memory_order_release);
        }
        return instance;
    });
}

void ImageIOTextureStream::destroy()
{
    delete m_texture_singleton.exchange(nullptr);
}

void ImageIOTextureStream::clear()
{
    if (!m_texture_singleton.load())
        return;
    guarded([this] {
        LookupGate::Closing const closing(s_gate);
        s_judged.forget();
        m_texture_system->invalidate_all(true);
        start();  // the old system goes when the fresh one is there: a stream is never without
    });
}

bool ImageIOTextureStream::evaluate(UniqueString const& name, MapEvalCtx& ctx, int const& swrap,
                                    int const& twrap, int const& interp, int const& mip, float* result)
{
    try {
        LookupGate::Passage const passage(s_gate);
        if (s_judged.is_safe(name))
            return zv_image_io::look_up(*m_texture_system, name, ctx, {swrap, twrap, interp, mip}, result);
    } catch (...) {
        // A lookup that cannot be made.
    }
    zv_image_io::fill_result(ctx, result);
    return false;
}

float ImageIOTextureStream::get_cache_size()
{
    return guarded(0.0f, [] {
        ImageIOTextureStream* const stream = get_texture_stream();
        return zv_image_io::get_cache_limit(stream ? stream->m_texture_system.get() : nullptr);
    });
}

void ImageIOTextureStream::set_cache_size(double const& megabytes)
{
    if (static_cast<double>(m_cache_size.load()) == megabytes)
        return;
    m_cache_size = static_cast<float>(megabytes);
    // A stream made here has taken the new limit already, and takes it once more.
    if (ImageIOTextureStream* const stream = get_texture_stream())
        guarded([stream] { zv_image_io::set_cache_limit(*stream->m_texture_system, m_cache_size); });
}

GMathVec2<int> ImageIOTextureStream::get_image_size(UniqueString const& name) const
{
    return guarded(GMathVec2<int>(0, 0), [&] {
        LookupGate::Passage const passage(s_gate);
        OIIO::ImageSpec const* const spec =
            s_judged.is_safe(name) ? m_texture_system->imagespec(name, 0) : nullptr;
        return spec ? GMathVec2<int>(spec->full_width, spec->full_height) : GMathVec2<int>(0, 0);
    });
}

CoreString ImageIOTextureStream::get_stats(int level)
{
    return guarded(CoreString(), [level] {
        ImageIOTextureStream* const stream = get_texture_stream();
        if (!stream)
            return CoreString();
        LookupGate::Passage const passage(s_gate);
        return CoreString(stream->m_texture_system->getstats(level, true).c_str());
    });
}

void ImageIOTextureStream::invalidate(UniqueString const& name)
{
    guarded([&] {
        LookupGate::Closing const closing(s_gate);
        s_judged.forget();
        m_texture_system->invalidate(name, true);
    });
}

void ImageIOTextureStream::invalidate_all(bool force)
{
    guarded([&] {
        LookupGate::Closing const closing(s_gate);
        s_judged.forget();
        m_texture_system->invalidate_all(force);
    });
}

OIIO::TextureSystem* ImageIOTextureStream::get_oiio_texture_system()
{
    return m_texture_system.get();
}
