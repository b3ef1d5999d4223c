#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/core/core_vector.h"
#include "host/gmath/gmath_vec4.h"
#include "image_io/save/image_save_options.h"
#include "tools/document.h"
#include "tools/load_request.h"
#include "tools/terminal.h"

namespace CLI {
class App;
}

namespace zvio {

/// The options that say how files are written.
struct WriteRequest {
    std::string format;                 // a short name; empty: by the extension
    std::string compression;            // a short name, "dwaa:LEVEL"; empty: zip
    std::string color_space;            // of the output; empty: that of its extension
    std::optional<float> pixel_aspect;  // nothing: that of the input
    std::vector<std::string> metadata;  // texts, or "@" and a file
    std::string metadata_prefix = "custom";
    bool tiled = false;
    bool one_file_per_aov = false;
    bool aovs_only = false;
    bool aovs_in_all_formats = false;
    bool verify = true;
};

/// The options of the commands that save what they load.
struct SaveRequest {
    std::vector<std::string> inputs;
    std::string output;
    std::string frames;
    std::vector<std::string> layers;
    std::string crop;
    bool keep_integers = false;
    WriteRequest write;
    LoadRequest load;
};

void add_write_request(CLI::App& command, WriteRequest& request);
void add_save_request(CLI::App& command, SaveRequest& request);

/// A `WriteRequest` in the module's terms. Throws CommandError for what cannot be done.
class WriteSettings {
public:
    explicit WriteSettings(WriteRequest const& request);

    /// Format, compression, colour space and metadata for one file.
    ImageSaveOptions options_for(std::string const& path) const;
    /// The output settings of the application.
    void apply_to(OfApp& app) const;
    /// The extension of a file made of `input`: that of the format, else its own.
    [[nodiscard]] std::string extension_for(std::string const& input) const;
    [[nodiscard]] WriteRequest const& request() const { return m_request; }

private:
    [[nodiscard]] ImageIOFileFormat::Save format_for(std::string const& path) const;
    [[nodiscard]] CoreString color_space_for(std::string const& path) const;
    void read_compression();
    void read_metadata();

    WriteRequest const& m_request;
    ImageIOFileFormat::Save m_format = ImageIOFileFormat::SAVE_UNKNOWN;
    ImageIOFileFormat::OpenExrCompressionMethod m_compression = ImageIOFileFormat::COMPRESSION_ZIP;
    std::optional<double> m_dwa_level;
    std::vector<std::string> m_metadata;  // texts that are known to be right
};

/// "x,y,w,h" as fractions; nothing for an empty text. Throws CommandError.
std::optional<GMathVec4<float>> parse_crop(std::string const& text);

/// The text of a `--metadata`: itself, or what the file behind its "@" holds. Throws CommandError, with line and
/// column, for a text that does not parse.
std::string read_metadata_text(std::string const& argument);

}  // namespace zvio
