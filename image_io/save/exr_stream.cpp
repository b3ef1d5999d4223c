#include "image_io/save/exr_stream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <IexMacros.h>
#include <IexThrowErrnoExc.h>

#include <cerrno>
#include <utility>

#include "image_io/frame/file_size_signal.h"
#include "image_io/frame/library_names.h"

namespace zv_image_io {

namespace {

constexpr std::size_t kBufferBytes = std::size_t(1) << 18;
constexpr mode_t kNewFileMode = 0666;  // less what the process's mask takes away

/// As OpenEXR words it when it opens a file itself.
[[noreturn]] void throw_open_error(std::string const& path, int error)
{
    try {
        Iex_2_4::throwErrnoExc("%T.", error);
    } catch (Iex_2_4::BaseExc& exception) {
        REPLACE_EXC(exception, "Cannot open image file \"" << path << "\". " << exception.what());
        throw;
    }
    throw Iex_2_4::IoExc("Cannot open image file.");  // not reached
}

}  // namespace

ExrStream::ExrStream(std::string const& path)
    : OStream(path.c_str())
    , m_path(path)
{
    m_buffer.reserve(kBufferBytes);
    m_file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kNewFileMode);
    m_is_new = m_file >= 0;
    if (m_file < 0)
        m_file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, kNewFileMode);
    if (m_file < 0)
        throw_open_error(path, errno);
    struct stat status;
    m_is_new = m_is_new && ::fstat(m_file, &status) == 0 && S_ISREG(status.st_mode);
    if (m_is_new) {
        m_device = status.st_dev;
        m_node = status.st_ino;
    }
}

ExrStream::~ExrStream()
{
    discard();
}

void ExrStream::check() const
{
    if (m_error != 0)
        Iex_2_4::throwErrnoExc("%T.", m_error);
}

void ExrStream::fail(int error)
{
    m_error = error != 0 ? error : EIO;
    m_buffer.clear();
    Iex_2_4::throwErrnoExc("%T.", m_error);
    throw Iex_2_4::IoExc("File output failed.");  // not reached
}

/// Lets go of what an older file of that name held. Devices and pipes have nothing to cut.
void ExrStream::begin_writing()
{
    m_has_written = true;
    if (::ftruncate(m_file, 0) != 0 && errno != EINVAL && errno != EPERM)
        fail(errno);
}

/// Writes bytes that end at the current position.
void ExrStream::hand_over(char const* bytes, std::size_t count)
{
    if (count != 0 && !m_has_written)
        begin_writing();
    FileSizeSignalHold const hold;
    while (count != 0) {
        ssize_t const written = ::pwrite(m_file, bytes, count, static_cast<off_t>(m_position - count));
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            fail(written < 0 ? errno : EIO);
        bytes += written;
        count -= static_cast<std::size_t>(written);
    }
}

void ExrStream::write(char const bytes[], int count)
{
    check();
    auto const size = static_cast<std::size_t>(count);
    if (m_buffer.size() + size > kBufferBytes)
        flush();
    m_position += size;
    if (size >= kBufferBytes)
        hand_over(bytes, size);
    else
        m_buffer.insert(m_buffer.end(), bytes, bytes + size);
}

void ExrStream::seekp(std::uint64_t position)
{
    if (position == m_position)
        return;
    flush();
    m_position = position;
}

void ExrStream::flush()
{
    check();
    if (!m_buffer.empty())
        hand_over(m_buffer.data(), m_buffer.size());
    m_buffer.clear();
}

void ExrStream::finish()
{
    flush();
    close();
    check();
    m_is_finished = true;
    m_error = EBADF;  // what a write to a closed file gets
}

void ExrStream::close() noexcept
{
    if (m_file >= 0 && ::close(std::exchange(m_file, -1)) != 0 && m_error == 0)
        m_error = errno != 0 ? errno : EIO;
}

/// False if another file has taken the name.
bool ExrStream::is_named_as_before() const noexcept
{
    struct stat status;
    return ::lstat(m_path.c_str(), &status) == 0 && status.st_dev == m_device && status.st_ino == m_node;
}

void ExrStream::discard() noexcept
{
    if (m_is_finished)
        return;
    if (m_is_new && is_named_as_before())
        ::unlink(m_path.c_str());
    m_is_new = false;
    close();
    m_error = m_error != 0 ? m_error : EBADF;
    m_buffer.clear();
}

}  // namespace zv_image_io
