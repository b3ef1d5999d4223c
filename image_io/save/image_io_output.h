#pragma once

#include <memory>

#include "host/core/core_string.h"
#include "host/core/core_vector.h"
#include "host/gmath/gmath_vec4.h"
#include "image_io/frame/export.h"
#include "image_io/frame/image_io.h"
#include "image_io/frame/library_names.h"

class AppBase;
class AppProgressBar;
class ImageEvalContext;
class ImageMap;
class ImageMapChannel;
class ImageIOOutputs;
class OfApp;
struct ImageSaveOptions;

namespace zv_image_io {
class ExrScanlineFile;
class ExrTiledFile;
struct Window;
}  // namespace zv_image_io

/// One file that is open for writing, with the channels that go into it.
///
/// Order    fill `get_channels`, `open`, `write_region` any number of times, `write`, `close`
/// Owns     the open file; application, map and channels are borrowed and must outlive it
/// Errors   nothing throws; the status says whether it worked, the log says why not
/// Threads  one at a time
class ZV_IMAGE_IO_EXPORT ImageIOOutput {
public:
    /// How the file stores its pixels.
    enum WriteMode : int { WRITE_MODE_NONE = -1, WRITE_MODE_SCANLINE = 0, WRITE_MODE_TILED = 1 };
    /// Which library writes it.
    enum WriteType : int { WRITE_TYPE_CLOSED = -1, WRITE_TYPE_OIIO = 0, WRITE_TYPE_EXR = 1 };

    ImageIOOutput(ImageMap const* map, CoreString const& name, CoreString const& filename, AppBase* app);
    /// Closes the file.
    ~ImageIOOutput();
    ImageIOOutput(ImageIOOutput const&) = delete;
    ImageIOOutput& operator=(ImageIOOutput const&) = delete;

    /// Creates the file for the channels. Rectangles are x, y, width, height; `region` is what holds data,
    /// `canvas_rectangle` the whole picture. A tile size of 0 makes a scanline file.
    bool open(OfApp* app, ImageSaveOptions const& options, GMathVec4<int> const& region,
              GMathVec4<int> const& canvas_rectangle, int tile_size);

    /// Writes the whole picture and finishes the file; of an OpenEXR file what is missing of it. A second
    /// time it fails. Success means that every byte is in the file. An OpenEXR file that failed keeps the
    /// regions that came before; one without any, or with bytes that were refused, goes away.
    ImageIO::SavingStatus write(ImageEvalContext& context, AppProgressBar* progress);

    /// Writes the part of the region that lies in the file, at once. OpenEXR scanline files take their lines
    /// in order and at full width, tiled ones each tile once; anything else fails and changes nothing.
    ImageIO::SavingStatus write_region(ImageEvalContext& context, GMathVec4<int> const& region,
                                       AppProgressBar* progress);

    /// Finishes the file as far as it is written.
    void close();

    AppBase* get_app() const;
    unsigned int get_channel_count() const;
    /// The channels in file order, to be filled before `open`.
    CoreVector<ImageMapChannel*>& get_channels();
    /// The file name in single quotes.
    CoreString get_description() const;
    CoreString const& get_filename() const;
    /// Null for files that OpenImageIO writes.
    Imf_2_4::Header* get_header_exr();
    /// "image", "RGBA" or the layer.
    CoreString const& get_name() const;
    WriteMode get_write_mode() const;
    WriteType get_write_type() const;
    void set_image_map(ImageMap const* map);

private:
    friend class ImageIOOutputs;       // its output that is none, and files of saves that failed
    friend struct ImageIOOutputDoors;  // the tests' way in

    bool open_exr(Imf_2_4::Header* header);
    bool open_oiio(std::unique_ptr<OIIO::ImageOutput> output);
    bool open_fail();
    ImageIO::SavingStatus write_fail();

    bool create_exr(OfApp* app, ImageSaveOptions const& options, GMathVec4<int> const& region,
                    GMathVec4<int> const& canvas_rectangle);
    bool create_oiio(OfApp* app, ImageSaveOptions const& options, GMathVec4<int> const& region,
                     GMathVec4<int> const& canvas_rectangle);
    bool is_writable() const;
    /// The save has failed elsewhere: a file that was given no pixels goes away when it is closed, if this object created it.
    void drop_if_empty();
    bool has_blocks() const;
    bool has_tiles_to_write() const;
    zv_image_io::Window clip(GMathVec4<int> const& region) const;
    bool write_exr(ImageEvalContext& context, AppProgressBar* progress);
    bool write_oiio(ImageEvalContext& context, AppProgressBar* progress);
    bool write_exr_region(ImageEvalContext& context, GMathVec4<int> const& region, AppProgressBar* progress);
    bool write_oiio_region(ImageEvalContext& context, GMathVec4<int> const& region, AppProgressBar* progress);
    void log_oiio_error();
    void close_oiio();
    template <class File>
    void close_exr(std::unique_ptr<File>& file);
    void close_file();

    AppBase* m_app;
    CoreString m_name;
    CoreString m_filename;
    CoreVector<ImageMapChannel*> m_channels;
    // The file, under its real type; at most one is not null.
    std::unique_ptr<OIIO::ImageOutput> m_oiio_file;
    std::unique_ptr<zv_image_io::ExrScanlineFile> m_scanline_file;
    std::unique_ptr<zv_image_io::ExrTiledFile> m_tiled_file;
    std::unique_ptr<Imf_2_4::Header> m_header;
    CoreString m_color_space;
    WriteMode m_write_mode = WRITE_MODE_NONE;
    WriteType m_write_type = WRITE_TYPE_CLOSED;
    int m_tile_size = 0;
    ImageMap const* m_image_map;
    bool m_was_written = false;  ///< `write` was called: the file is finished, or has failed
    bool m_has_failed = false;   ///< and will never be whole
    bool m_has_regions = false;  ///< some were handed over before that
    bool m_is_dropped = false;   ///< nobody wants it without any
    bool m_is_nobodys = false;   ///< never opens
};
