#pragma once

class ImageCanvas;
class ImageMapPyramid;

/// What a reader of samples passes on, so that lazily computed channels know for which image and in which
/// quality they are asked. A value; borrows the canvas, which must outlive it.
class ImageEvalContext {
public:
    /// `quality` is handed on to the evaluators; 0 is full quality.
    ImageEvalContext(ImageCanvas const& canvas, unsigned int const& quality);
    /// For a map that belongs to no canvas.
    ImageEvalContext() = default;
    ImageEvalContext(ImageEvalContext const& other) = default;
    ImageEvalContext& operator=(ImageEvalContext const& other) = default;
    ~ImageEvalContext() = default;

    ImageMapPyramid* m_pyramid = nullptr;

    [[nodiscard]] ImageCanvas const* get_canvas() const { return m_canvas; }
    [[nodiscard]] unsigned int get_quality() const { return m_quality; }

private:
    ImageCanvas const* m_canvas = nullptr;
    unsigned int m_quality = 0;
};
