#pragma once

#include <OpenColorIO/OpenColorIO.h>

#include <memory>
#include <vector>

#include "host/image/image_canvas.h"

namespace zv_bench {

/// The same colour conversion done twice: by OpenColorIO on one packed buffer with one thread, and over a canvas.
class ColourPass {
public:
    ColourPass(int width, int height);
    ~ColourPass();

    /// Puts the samples back: converted again and again they would end as denormal numbers, which are slow.
    void restore();
    void run_packed();
    void run_on_canvas();

private:
    int m_width, m_height;
    std::vector<float> m_samples, m_packed;
    OCIO_NAMESPACE::ConstCPUProcessorRcPtr m_processor;
    std::unique_ptr<ImageCanvas> m_canvas;
};

}  // namespace zv_bench
