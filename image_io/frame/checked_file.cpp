#include "image_io/frame/checked_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "image_io/frame/file_size_signal.h"

namespace zv_image_io {

namespace {

constexpr std::size_t kBufferBytes = std::size_t(1) << 18;
constexpr mode_t kNewFileMode = 0666;  // less what the process's mask takes away

}  // namespace

CheckedFile::CheckedFile(std::string const& path)
    : IOProxy(path, Write)
{
    int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kNewFileMode);
    m_is_new = file >= 0;
    if (file < 0)
        file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, kNewFileMode);
    if (file >= 0) {
        m_file.reset(::fdopen(file, "w"));  // which cuts nothing off
        if (!m_file)
            ::close(file);
    }
    if (!m_file) {
        note_trouble();
        return;
    }
    struct stat status;
    m_is_new = m_is_new && ::fstat(file, &status) == 0;
    if (m_is_new) {
        m_device = status.st_dev;
        m_node = status.st_ino;
    }
    std::setvbuf(m_file.get(), nullptr, _IOFBF, kBufferBytes);
}

CheckedFile::~CheckedFile() = default;

void CheckedFile::note_trouble() noexcept
{
    if (m_error == 0)
        m_error = errno ? errno : EIO;
}

std::string CheckedFile::trouble() const
{
    return m_error == 0 ? std::string() : std::generic_category().message(m_error);
}

bool CheckedFile::finish()
{
    if (m_file && m_error == 0 && !m_has_written)
        begin_writing();
    FileSizeSignalHold const hold;
    std::FILE* const file = m_file.release();
    if (file && std::fclose(file) != 0)
        note_trouble();
    m_mode = Closed;
    return file && m_error == 0;
}

void CheckedFile::remove()
{
    if (std::exchange(m_is_new, false) && is_named_as_before())
        ::unlink(m_filename.c_str());
    m_file.reset();
    m_mode = Closed;
}

/// False if another file has taken the name.
bool CheckedFile::is_named_as_before() const
{
    struct stat status;
    return ::lstat(m_filename.c_str(), &status) == 0 && status.st_dev == m_device && status.st_ino == m_node;
}

/// Lets go of what an older file of that name held. Devices and pipes have nothing to cut.
bool CheckedFile::begin_writing()
{
    m_has_written = true;
    if (::ftruncate(::fileno(m_file.get()), 0) != 0 && errno != EINVAL && errno != EPERM) {
        note_trouble();
        return false;
    }
    return true;
}

bool CheckedFile::seek(int64_t offset)
{
    if (offset < 0)
        return false;
    m_pos = offset;
    return true;
}

void CheckedFile::write_at(void const* bytes, size_t size, int64_t offset)
{
    if (size == 0 || !m_file || m_error != 0 || (!m_has_written && !begin_writing()))
        return;
    errno = 0;
    if (!bytes) {  // of a writer that found no memory for them
        errno = EFAULT;
        note_trouble();
        return;
    }
    if (m_file_position != offset && ::fseeko(m_file.get(), offset, SEEK_SET) != 0) {
        note_trouble();
        return;
    }
    m_file_position = offset + static_cast<int64_t>(size);
    if (std::fwrite(bytes, 1, size, m_file.get()) != size)
        note_trouble();
}

size_t CheckedFile::pwrite(void const* bytes, size_t size, int64_t offset)
{
    FileSizeSignalHold const hold;  // the thread may be one of the writer's own
    write_checked(bytes, size, offset);
    return size;
}

void CheckedFile::write_checked(void const* bytes, size_t size, int64_t offset)
{
    std::lock_guard const guard(m_mutex);
    write_at(bytes, size, offset);
    m_size = std::max(m_size, static_cast<size_t>(offset) + size);
}

size_t CheckedFile::write(void const* bytes, size_t size)
{
    write_checked(bytes, size, m_pos);
    m_pos += static_cast<int64_t>(size);
    return size;
}

}  // namespace zv_image_io
