#pragma once

#include <ImfHeader.h>
#include <ImfOutputFile.h>
#include <ImfTiledOutputFile.h>
#include <OpenImageIO/imageio.h>

#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/equality/reference_save.h"

namespace zv_equality {

/// One file, open for writing.
class ReferenceOutput {
public:
    ReferenceOutput(ImageMap const& map, std::string name, std::string filename, Channels channels);
    ~ReferenceOutput();

    bool open(OfApp* app, ImageSaveOptions const& options, Place const& region, Place const& canvas,
              int tile_size);
    Status write(ImageEvalContext& context, AppProgressBar* progress);
    Status write_region(ImageEvalContext& context, Place const& region, AppProgressBar* progress);
    void close();

    std::string const& name() const { return m_name; }

private:
    std::string quoted() const { return "'" + m_filename + "'"; }
    Status write_fail();
    void say_writer_error();

    // OpenEXR (reference_exr.cpp)
    void open_exr(OfApp* app, ImageSaveOptions const& options, Place const& region, Place const& canvas,
                  int tile_size);
    void write_exr_lines(Place const& region, AppProgressBar* progress);
    void write_exr_tiles(ImageEvalContext& context, Place const& region, AppProgressBar* progress);
    void finish_exr(ImageEvalContext& context, AppProgressBar* progress);
    Place exr_window() const;

    // OpenImageIO (reference_oiio.cpp)
    bool open_oiio(OfApp* app, ImageSaveOptions const& options, Place const& region, Place const& canvas,
                   int tile_size);
    bool write_oiio_strips(Place const& region, AppProgressBar* progress);
    bool write_oiio_tiles(Place const& region, AppProgressBar* progress);

    ImageMap const& m_map;
    std::string m_name, m_filename, m_color_space;
    Channels m_channels;
    bool m_is_exr = false;
    bool m_is_tiled = false;
    std::unique_ptr<OIIO::ImageOutput> m_oiio;
    std::unique_ptr<Imf::Header> m_header;
    std::unique_ptr<Imf::OutputFile> m_lines;
    std::unique_ptr<Imf::TiledOutputFile> m_tiles;
    int m_tile_size = 0;
    std::set<std::pair<int, int>> m_written_tiles;  // row, column
};

}  // namespace zv_equality
