#pragma once

#include <memory>

#include "host/core/core_array.h"
#include "host/core/core_hash_table.h"
#include "host/core/core_string.h"
#include "host/core/core_variant.h"
#include "host/gmath/gmath_vec4.h"
#include "host/image/image_map.h"
#include "host/image/image_map_pyramid.h"
#include "host/image/image_pixel.h"
#include "host/resource/resource_data.h"

/// An image in memory: its display window, its data window, one map and one pyramid. Created with `new`,
/// owned by who receives the pointer, destroyed through the virtual destructor.
///
/// Steps    constructor, `create_image`, channels and samples, `set_canvas`, `finalize`; then read-only
/// Threads  one writer, or any number of readers
class ImageCanvas : public ResourceData {
public:
    /// What is known of the map without asking it; the data window comes first.
    struct MapRecord {
        GMathVec4<int> const* m_bbox = nullptr;
        ImageMap* m_image = nullptr;
    };

    /// An empty canvas. The flag marks one whose channels will be lazy ones; it changes nothing here.
    explicit ImageCanvas(bool lazy);
    ~ImageCanvas() override;

    /// Bytes held by the image: samples, tiles, names and metadata.
    unsigned long long get_memory_size() const override;
    CoreClassInfo const& get_class_info() const override;
    static CoreClassInfo const& class_info();

    MapRecord* m_map = nullptr;            ///< null until `create_image` or `set_canvas`
    ImageMapPyramid* m_pyramid = nullptr;  ///< never null
    CoreHashTable<CoreString, CoreArray<CoreVariant>> m_meta_data;

    /// Gives the map these properties and forgets what it held. A region also creates the colour channels of
    /// `depth` with their tiles, all zero, and becomes both windows; null leaves the map without channels.
    /// False for a tile size below 1 or a region without area, and the map as it was.
    bool create_image(GMathVec4<int> const* region, ImagePixel::Depth const& depth,
                      ImagePixel::BitDepth const& bit_depth, ImagePixel::BitType const& bit_type,
                      int const& tile_size);

    [[nodiscard]] ImageMap* get_image() const { return m_image.get(); }
    [[nodiscard]] ImageMap const* get_map() const { return m_image.get(); }

    // The display window.
    [[nodiscard]] int const& get_x() const { return m_display_window.x(); }
    [[nodiscard]] int const& get_y() const { return m_display_window.y(); }
    [[nodiscard]] int const& get_width() const { return m_display_window.width(); }
    [[nodiscard]] int const& get_height() const { return m_display_window.height(); }

    /// Records both windows; a null data window is the display window.
    void set_canvas(GMathVec4<int> const& display_window, GMathVec4<int> const* data_window);

    /// Ends loading: the image is ready for readers. `release_equal` makes constant tiles of those that were
    /// written through `m_pixels` and hold equal samples (a look at their first samples, for most);
    /// `prepare_aprons` fills all aprons now instead of at their first use.
    void finalize(bool const& release_equal, bool const& prepare_aprons);
    [[nodiscard]] bool is_finalized() const { return m_finalized; }

private:
    // Before the map, whose channels may ask it.
    std::unique_ptr<ImageMapPyramid> m_own_pyramid;
    std::unique_ptr<ImageMap> m_image;
    MapRecord m_record;
    GMathVec4<int> m_display_window;
    GMathVec4<int> m_data_window;
    bool m_finalized = false;
};
