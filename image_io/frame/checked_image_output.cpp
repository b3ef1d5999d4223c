#include "image_io/frame/checked_image_output.h"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <filesystem>
#include <system_error>
#include <utility>

#include "image_io/frame/file_size_signal.h"
#include "image_io/frame/guarded.h"
#include "image_io/frame/writer_limits.h"

namespace zv_image_io {

namespace {

std::size_t not_negative(int size)
{
    return size < 0 ? 0 : static_cast<std::size_t>(size);
}

ImageShape shape_of(OIIO::ImageSpec const& spec)
{
    bool const has_origin = spec.x != 0 || spec.y != 0;
    return {not_negative(spec.nchannels), not_negative(spec.width), not_negative(spec.height), sizeof(float),
            has_origin};
}

/// More than any file of the picture takes: twice its samples, which compression can make longer, and its header.
std::size_t most_bytes(OIIO::ImageSpec const& spec)
{
    constexpr std::size_t kHeaderBytes = 1 << 20;
    return 2 * sizeof(float) * not_negative(spec.nchannels) * spec.image_pixels() + kHeaderBytes;
}

std::filesystem::file_type type_of(std::string const& path)
{
    std::error_code ignored;
    return std::filesystem::symlink_status(path, ignored).type();
}

}  // namespace

std::unique_ptr<CheckedImageOutput> CheckedImageOutput::make(std::string const& path)
{
    auto writer = OIIO::ImageOutput::create(path, nullptr, "");
    if (!writer) {
        OIIO::geterror();  // nobody asks for this text; a later message must not carry it
        return nullptr;
    }
    return std::make_unique<CheckedImageOutput>(std::move(writer));
}

CheckedImageOutput::CheckedImageOutput(std::unique_ptr<OIIO::ImageOutput> writer)
    : m_writer(std::move(writer))
{
}

CheckedImageOutput::~CheckedImageOutput()
{
    FileSizeSignalHold const hold;  // a writer that is still open writes what it has
    m_writer.reset();
    copy_memory();
    m_file.reset();
}

/// Makes an error of the writer one of this object. One that is waiting already is not repeated: a writer
/// that refuses every strip would fill the memory.
void CheckedImageOutput::pass_on(std::string const& error)
{
    if (error.empty() || (error == m_passed_on && has_error()))
        return;
    errorfmt("{}", error);
    m_passed_on = error;
}

bool CheckedImageOutput::refuse(std::string_view reason) noexcept
{
    guarded([&] { pass_on(std::string(reason)); });
    return false;
}

template <class Call>
bool CheckedImageOutput::forward(Call const& call) noexcept
try {
    FileSizeSignalHold const hold;
    std::string error;
    try {
        bool const is_done = call();
        if (m_memory && hold.is_raised()) {  // a limit that came after the file was opened
            m_has_trouble = true;
            error = std::generic_category().message(EFBIG);
        } else if (is_done) {
            return true;
        } else {
            error = m_writer->geterror();
        }
    } catch (std::exception const& exception) {
        m_has_trouble = true;
        error = exception.what();
    } catch (...) {
        m_has_trouble = true;
        error = "unknown exception";
    }
    pass_on(error);
    return false;
} catch (...) {
    m_has_trouble = true;  // no memory for the message
    return false;
}

template <class Call>
bool CheckedImageOutput::forward_if_open(Call const& call) noexcept
{
    return m_is_open ? forward(call) : refuse("the file is not open");  // formats' writers crash here
}

/// `take` gives the reason why the writer should not see the call.
template <class Take, class Call>
bool CheckedImageOutput::forward_in_turn(Take const& take, Call const& call) noexcept
try {
    if (m_is_open)
        if (std::string const objection = take(); !objection.empty())
            return refuse(objection);
    bool const is_written = forward_if_open(call);
    if (!is_written)
        m_order.stop();
    return is_written;
} catch (...) {
    m_has_trouble = true;  // whoever does not look at this call has to hear of it from `close`
    return refuse("there is not enough memory");
}

bool CheckedImageOutput::open(std::string const& name, OIIO::ImageSpec const& spec, OpenMode mode)
{
    bool const has_opened = prepare_file(name, spec) && forward([&] {
                                return m_writer->open(m_memory ? m_memory->path() : name, spec, mode);
                            });
    m_is_open = has_opened && forward([&] {
                    m_spec = m_writer->spec();
                    m_order = WriteOrder(format_name(), m_spec);
                    return true;
                });
    m_was_opened |= m_is_open;
    if (has_opened && !m_is_open)  // no memory. Once its file is gone, a writer lets go of nothing any more
        forward([&] { return m_writer->close(); });
    if (!m_is_open)
        remove_file();
    return m_is_open;
}

/// Everything that goes before the writer's own `open`.
bool CheckedImageOutput::prepare_file(std::string const& name, OIIO::ImageSpec const& spec) noexcept
try {
    ImageShape const shape = shape_of(spec);
    if (std::string const objection = find_objection(format_name(), shape); !objection.empty())
        return refuse(objection);
    m_row.assign(row_bytes_read(format_name(), shape), 0);
    m_path = name;
    m_path_was_free = type_of(name) == std::filesystem::file_type::not_found;
    bool const takes_proxy = m_writer->supports("ioproxy");
    if (!takes_proxy && !forgets_refused_bytes(format_name()))
        return true;
    m_file = std::make_unique<CheckedFile>(name);
    if (!m_file->is_open())
        return refuse("Could not open file \"" + name + "\"");  // as the writers word it
    if (takes_proxy) {
        m_writer->set_ioproxy(m_file.get());
        return true;
    }
    m_memory = std::make_unique<MemoryFile>(most_bytes(spec));
    return m_memory->is_open() || refuse(std::generic_category().message(errno));
} catch (std::exception const& exception) {
    return refuse(exception.what());
}

bool CheckedImageOutput::close()
{
    bool const was_open = m_is_open;
    bool const is_whole = close_and_keep();
    if (!is_whole && was_open)
        remove_file();
    return is_whole;
}

bool CheckedImageOutput::close_and_keep()
{
    if (!m_was_opened)
        return true;
    bool const is_closed = forward([&] { return m_writer->close(); });
    if (!m_is_open)
        return is_closed;  // what there was to tell was told by the first call
    m_is_open = false;
    return finish_file() && is_closed;
}

/// What a writer left in memory goes to the file.
void CheckedImageOutput::copy_memory() noexcept
try {
    FileSizeSignalHold const hold;
    if (m_memory && !m_memory->copy_to(*m_file)) {
        m_has_trouble = true;
        refuse(std::generic_category().message(errno));
    }
    m_memory.reset();
} catch (...) {
    m_has_trouble = true;  // no memory for a piece of the file
    m_memory.reset();
}

bool CheckedImageOutput::finish_file() noexcept
{
    copy_memory();
    if (m_file && !m_file->finish()) {
        m_has_trouble = true;
        guarded([this] { refuse(m_file->trouble()); });
    }
    return !m_has_trouble;
}

void CheckedImageOutput::remove_file()
{
    if (m_file) {
        m_file->remove();
    } else if (m_path_was_free && type_of(m_path) == std::filesystem::file_type::regular) {
        std::error_code ignored;
        std::filesystem::remove(m_path, ignored);
    }
}

/// The row as the writer keeps it, readable as far as it reads: it would read on behind its own conversion, too.
void const* CheckedImageOutput::readable_row(OIIO::TypeDesc format, void const* data, OIIO::stride_t x_stride)
{
    using OIIO::AutoStride;
    OIIO::TypeDesc const type = format == OIIO::TypeDesc::UNKNOWN ? m_spec.format : format;
    OIIO::convert_image(m_spec.nchannels, m_spec.width, 1, 1, data, type, x_stride, AutoStride, AutoStride,
                        m_row.data(), m_spec.format, AutoStride, AutoStride, AutoStride);
    return m_row.data();
}

bool CheckedImageOutput::write_scanline(int y, int z, OIIO::TypeDesc format, void const* data,
                                        OIIO::stride_t x_stride)
{
    return forward_in_turn([&] { return m_order.take_rows(y, y + 1); },
                           [&] {
                               if (m_row.empty())
                                   return m_writer->write_scanline(y, z, format, data, x_stride);
                               return m_writer->write_scanline(y, z, m_spec.format,
                                                               readable_row(format, data, x_stride),
                                                               OIIO::AutoStride);
                           });
}

bool CheckedImageOutput::write_scanlines(int begin_y, int end_y, int z, OIIO::TypeDesc format,
                                         void const* data, OIIO::stride_t x_stride, OIIO::stride_t y_stride)
{
    if (m_is_open && !m_row.empty())  // one row a call, so that each is readable to its end
        return ImageOutput::write_scanlines(begin_y, end_y, z, format, data, x_stride, y_stride);
    return forward_in_turn(
        [&] { return m_order.take_rows(begin_y, end_y); },
        [&] { return m_writer->write_scanlines(begin_y, end_y, z, format, data, x_stride, y_stride); });
}

bool CheckedImageOutput::write_tile(int x, int y, int z, OIIO::TypeDesc format, void const* data,
                                    OIIO::stride_t x_stride, OIIO::stride_t y_stride, OIIO::stride_t z_stride)
{
    return forward_in_turn(
        [&] { return m_order.take_tile(x, y); },
        [&] { return m_writer->write_tile(x, y, z, format, data, x_stride, y_stride, z_stride); });
}

bool CheckedImageOutput::write_tiles(int begin_x, int end_x, int begin_y, int end_y, int begin_z, int end_z,
                                     OIIO::TypeDesc format, void const* data, OIIO::stride_t x_stride,
                                     OIIO::stride_t y_stride, OIIO::stride_t z_stride)
{
    auto const take_tiles = [&] {
        int const width = std::max(1, m_spec.tile_width), height = std::max(1, m_spec.tile_height);
        std::string objection;
        for (int y = begin_y; y < end_y && objection.empty(); y += height)
            for (int x = begin_x; x < end_x && objection.empty(); x += width)
                objection = m_order.take_tile(x, y);
        return objection;
    };
    return forward_in_turn(take_tiles, [&] {
        return m_writer->write_tiles(begin_x, end_x, begin_y, end_y, begin_z, end_z, format, data, x_stride,
                                     y_stride, z_stride);
    });
}

bool CheckedImageOutput::write_rectangle(int begin_x, int end_x, int begin_y, int end_y, int begin_z,
                                         int end_z, OIIO::TypeDesc format, void const* data,
                                         OIIO::stride_t x_stride, OIIO::stride_t y_stride,
                                         OIIO::stride_t z_stride)
{
    return forward_if_open([&] {
        return m_writer->write_rectangle(begin_x, end_x, begin_y, end_y, begin_z, end_z, format, data,
                                         x_stride, y_stride, z_stride);
    });
}

bool CheckedImageOutput::write_image(OIIO::TypeDesc format, void const* data, OIIO::stride_t x_stride,
                                     OIIO::stride_t y_stride, OIIO::stride_t z_stride,
                                     OIIO::ProgressCallback progress, void* progress_data)
{
    if (m_is_open && !m_row.empty())
        return ImageOutput::write_image(format, data, x_stride, y_stride, z_stride, progress, progress_data);
    return forward_in_turn([&] { return m_order.take_image(); },
                           [&] {
                               return m_writer->write_image(format, data, x_stride, y_stride, z_stride,
                                                            progress, progress_data);
                           });
}

}  // namespace zv_image_io
