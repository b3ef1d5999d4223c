#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/gmath/gmath_vec4.h"

class ImageCanvas;
class OfChannelManager;

namespace zvio {

/// Spheres on a plane under a sky, computed pixel by pixel: the same samples at every run, whatever the regions are.
///
/// Layers, in this order: depth, diffuse, specular, normal, id, then light1, light2, ... for as many as are wanted.
///
/// Threads  one at a time; a region is computed on all threads
class ProceduralScene {
public:
    static constexpr int kMaximumLayers = 200;

    ProceduralScene(int width, int height, int layer_count);
    ~ProceduralScene();

    /// Red, green, blue, alpha and the layers, in 32-bit floats and tiles of 64; zeros at first.
    [[nodiscard]] ImageCanvas& canvas() { return *m_canvas; }
    /// Colours are half, data is float.
    void add_layers(OfChannelManager& manager) const;
    void render(GMathVec4<int> const& region);

private:
    struct Layer {
        std::string name;
        std::vector<std::string> components;
        bool is_color;
    };

    void shade(int x, int y, float* samples) const;

    int m_width, m_height;
    std::vector<Layer> m_layers;
    std::unique_ptr<ImageCanvas> m_canvas;
};

}  // namespace zvio
