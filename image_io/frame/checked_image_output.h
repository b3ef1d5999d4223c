#pragma once

#include <OpenImageIO/imageio.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "image_io/frame/checked_file.h"
#include "image_io/frame/memory_file.h"
#include "image_io/frame/write_order.h"

namespace zv_image_io {

/// A writer of OpenImageIO around the writer of a format, that notices what such writers overlook: bytes that
/// were refused, shapes that a file library answers with a crash, calls on a closed file or out of their turn,
/// the end of a row.
///
/// The format's writer writes through a `CheckedFile` where it takes one; OpenImageIO's own that take none write into
/// memory, which `close` copies there. They are told that all is well, and the first `close` says otherwise. A file
/// that is not whole then goes away, if it is a regular file that was not there before `open`.
///
/// Errors   false with a text from `geterror`, as other writers; what the format's writer throws is such a
///          failure too, and makes the first `close` one; nothing throws
/// Owns     the format's writer and its file, which outlives the writer
/// Threads  one at a time
class CheckedImageOutput : public OIIO::ImageOutput {
public:
    /// The writer for the extension of the file's name; null, with nothing left in the global error text, if
    /// no format has it.
    static std::unique_ptr<CheckedImageOutput> make(std::string const& path);

    explicit CheckedImageOutput(std::unique_ptr<OIIO::ImageOutput> writer);
    ~CheckedImageOutput() override;

    /// True once a byte was refused or the format's writer threw: the file is not whole, whatever its writer
    /// says.
    [[nodiscard]] bool has_trouble() const { return m_has_trouble; }
    /// As `close`, but the file stays, whatever the writer says of it.
    bool close_and_keep();
    /// Removes the file if this object created it.
    void remove_file();

    char const* format_name() const override { return m_writer->format_name(); }
    int supports(OIIO::string_view feature) const override { return m_writer->supports(feature); }

    using OIIO::ImageOutput::open;
    bool open(std::string const& name, OIIO::ImageSpec const& spec, OpenMode mode = Create) override;
    bool close() override;
    bool write_scanline(int y, int z, OIIO::TypeDesc format, void const* data,
                        OIIO::stride_t x_stride) override;
    bool write_scanlines(int begin_y, int end_y, int z, OIIO::TypeDesc format, void const* data,
                         OIIO::stride_t x_stride, OIIO::stride_t y_stride) override;
    bool write_tile(int x, int y, int z, OIIO::TypeDesc format, void const* data, OIIO::stride_t x_stride,
                    OIIO::stride_t y_stride, OIIO::stride_t z_stride) override;
    bool write_tiles(int begin_x, int end_x, int begin_y, int end_y, int begin_z, int end_z,
                     OIIO::TypeDesc format, void const* data, OIIO::stride_t x_stride,
                     OIIO::stride_t y_stride, OIIO::stride_t z_stride) override;
    bool write_rectangle(int begin_x, int end_x, int begin_y, int end_y, int begin_z, int end_z,
                         OIIO::TypeDesc format, void const* data, OIIO::stride_t x_stride,
                         OIIO::stride_t y_stride, OIIO::stride_t z_stride) override;
    bool write_image(OIIO::TypeDesc format, void const* data, OIIO::stride_t x_stride = OIIO::AutoStride,
                     OIIO::stride_t y_stride = OIIO::AutoStride, OIIO::stride_t z_stride = OIIO::AutoStride,
                     OIIO::ProgressCallback progress = nullptr, void* progress_data = nullptr) override;

private:
    template <class Call>
    bool forward(Call const& call) noexcept;
    template <class Call>
    bool forward_if_open(Call const& call) noexcept;
    template <class Take, class Call>
    bool forward_in_turn(Take const& take, Call const& call) noexcept;

    bool prepare_file(std::string const& name, OIIO::ImageSpec const& spec) noexcept;
    void copy_memory() noexcept;
    bool finish_file() noexcept;
    bool refuse(std::string_view reason) noexcept;
    void pass_on(std::string const& error);

    void const* readable_row(OIIO::TypeDesc format, void const* data, OIIO::stride_t x_stride);

    std::unique_ptr<CheckedFile> m_file;   // null for a writer of somebody else that opens its own
    std::unique_ptr<MemoryFile> m_memory;  // null but for one of OpenImageIO's that does so
    std::unique_ptr<OIIO::ImageOutput> m_writer;
    WriteOrder m_order;
    std::vector<unsigned char> m_row;  // for a writer that reads behind the end of its rows; empty for others
    std::string m_path;
    std::string m_passed_on;
    bool m_path_was_free = false;
    bool m_was_opened = false;
    bool m_is_open = false;
    bool m_has_trouble = false;
};

}  // namespace zv_image_io
