#pragma once

#include "host/core/core_string.h"
#include "host/core/core_vector.h"

/// The catalogue of render layers: which layer is stored in which sample type.
class OfChannelManager {
public:
    static constexpr short INVALID_INDEX = -1;

    /// Adds a layer, or changes the sample type of a known one, and gives its index; `INVALID_INDEX` for an
    /// empty name or a full catalogue (32767 layers). `bit_depth` counts bytes (1, 2, 4), `bit_type` is 1 for
    /// integers, 2 for floats.
    short add_layer(CoreString const& name, unsigned int bit_depth, unsigned int bit_type);
    unsigned int get_layer_count() const noexcept { return m_layers.get_count(); }

    /// Index of the layer of exactly this name, or `INVALID_INDEX`.
    short get_layer_index(CoreString const& name) const noexcept;
    /// The same for the layer of a channel: what stands before the first "." of its name, or all of it.
    short get_layer_index_from_channel_name(CoreString const& name) const;

    /// The sample type of a layer; 0 for an index that is none.
    unsigned int get_bit_depth(short layer) const noexcept;
    unsigned int get_bit_type(short layer) const noexcept;

private:
    struct Layer {
        CoreString name;
        unsigned int bit_depth = 0;
        unsigned int bit_type = 0;
    };

    bool is_layer(short layer) const noexcept;

    CoreVector<Layer> m_layers;
};
