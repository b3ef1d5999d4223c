#include "host/image/image_eval_context.h"

#include "host/image/image_canvas.h"

ImageEvalContext::ImageEvalContext(ImageCanvas const& canvas, unsigned int const& quality)
    : m_pyramid(canvas.m_pyramid)
    , m_canvas(&canvas)
    , m_quality(quality)
{
}
