#pragma once

#include "host/core/unique_string.h"
#include "image_io/frame/library_names.h"
#include "image_io/texture/map_eval_ctx.h"

OIIO_NAMESPACE_BEGIN
class TextureSystem;
OIIO_NAMESPACE_END

namespace zv_image_io {

/// How a lookup goes on past the edges and between the samples, in the numbers of `ImageIOTextureStream::evaluate`.
struct LookupModes {
    int swrap, twrap, interp, mip;
};

/// `ImageIOTextureStream::evaluate` on a texture system; may throw what the library throws.
bool look_up(OIIO::TextureSystem& system, UniqueString const& name, MapEvalCtx const& ctx,
             LookupModes const& modes, float* result);

/// What a lookup gives that cannot be made.
void fill_result(MapEvalCtx const& ctx, float* result);

}  // namespace zv_image_io
