#pragma once

class ImageCanvas;
struct ImageSaveOptions;

namespace zv_image_io {

/// `ImageSaveOptions::add_image_canvas_meta_data` for who has to know: throws if there is no memory, and has appended
/// nothing then.
void append_canvas_meta_data(ImageSaveOptions& options, ImageCanvas const& canvas);

}  // namespace zv_image_io
