#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/gmath/gmath_vec4.h"

namespace zvio {

struct StoredChannel {
    std::string name;  // in lower case, as results name channels
    std::string type;  // as OpenImageIO names it: "half", "float", "uint8"
};

/// What a picture file says of itself.
struct StoredHeader {
    std::string format;  // as OpenImageIO names it: "openexr", "png"
    GMathVec4<int> data_window, display_window;
    float pixel_aspect_ratio = 1.0f;
    int tile_width = 0, tile_height = 0;  // 0: scanlines
    std::string compression;              // empty: the file does not tell
    std::vector<StoredChannel> channels;

    /// The channel's position by its name, if there is one.
    [[nodiscard]] std::optional<std::size_t> find_channel(std::string const& name) const;
};

/// A picture file as it stands, read without the module: no colour conversion, alpha as stored. OpenEXR files are read by
/// OpenEXR, all others by OpenImageIO. Of files with several pictures the first one counts.
///
/// Errors   a text and false; nothing throws
/// Threads  one at a time
class StoredPicture {
public:
    /// Null, with the reason in `trouble`, for what cannot be read.
    static std::unique_ptr<StoredPicture> open(std::string const& path, std::string& trouble);

    [[nodiscard]] StoredHeader const& header() const { return m_header; }

    /// Reads rows of the data window: a plane a channel, `rows` rows of the window's width each. Integer samples become 0
    /// to 1, but those of OpenEXR keep their numbers. What cannot be read is zero and makes the result false.
    bool read(int y, int rows, std::vector<double>& planes, std::string& trouble);

private:
    /// The library behind it: fills planes with these rows.
    using Read = std::function<bool(int y, int rows, std::vector<double>& planes, std::string& trouble)>;

    StoredPicture() = default;
    bool open_exr(std::string const& path, std::string& trouble);
    bool open_oiio(std::string const& path, std::string& trouble);

    StoredHeader m_header;
    Read m_read;
};

/// True for what begins as an OpenEXR file does.
bool is_exr_file(std::string const& path);

/// Letters of ASCII only.
std::string lower_case(std::string text);

}  // namespace zvio
