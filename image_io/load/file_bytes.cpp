#include "image_io/load/file_bytes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

namespace zv_image_io {

namespace {

constexpr std::size_t kSmallestWindow = 512;

}  // namespace

FileBytes::FileBytes(char const* path)
    : m_file(open(path ? path : "", O_RDONLY | O_CLOEXEC | O_NONBLOCK))  // a pipe would wait for its writer
{
    struct stat about {};
    if (m_file >= 0 && fstat(m_file, &about) == 0 && S_ISREG(about.st_mode))
        m_size = static_cast<std::uint64_t>(about.st_size);
}

FileBytes::~FileBytes()
{
    if (m_file >= 0)
        close(m_file);
}

bool FileBytes::read_directly(std::uint64_t at, unsigned char* target, std::size_t count)
{
    m_bytes_read += count;
    while (count > 0) {
        ssize_t const got = pread(m_file, target, count, static_cast<off_t>(at));
        if (got <= 0)
            return false;
        at += static_cast<std::uint64_t>(got);
        target += got;
        count -= static_cast<std::size_t>(got);
    }
    return true;
}

bool FileBytes::move_window(std::uint64_t at, std::size_t count)
{
    bool const goes_on = at >= m_window_at && at <= m_window_at + m_window_size;
    std::size_t const wanted = std::max({kSmallestWindow, count, goes_on ? 2 * m_window_size : 0});
    m_window_size =
        static_cast<std::size_t>(std::min<std::uint64_t>(std::min(wanted, kLargestWindow), m_size - at));
    m_window_at = at;
    if (read_directly(at, m_window, m_window_size))
        return true;
    m_window_size = 0;
    return false;
}

bool FileBytes::read(std::uint64_t at, void* target, std::size_t count)
{
    if (!has(at, count))
        return false;
    if (count > kLargestWindow / 2)
        return read_directly(at, static_cast<unsigned char*>(target), count);
    bool const is_inside = at >= m_window_at && at + count <= m_window_at + m_window_size;
    if (!is_inside && !move_window(at, count))
        return false;
    std::memcpy(target, m_window + (at - m_window_at), count);
    return true;
}

std::optional<std::uint32_t> FileBytes::big(std::uint64_t at, int bytes)
{
    unsigned char raw[4] = {};
    if (!read(at, raw, static_cast<std::size_t>(bytes)))
        return std::nullopt;
    std::uint32_t value = 0;
    for (int i = 0; i < bytes; ++i)
        value = value << 8 | raw[i];
    return value;
}

std::optional<std::uint32_t> FileBytes::little(std::uint64_t at, int bytes)
{
    unsigned char raw[4] = {};
    if (!read(at, raw, static_cast<std::size_t>(bytes)))
        return std::nullopt;
    std::uint32_t value = 0;
    for (int i = bytes; i-- > 0;)
        value = value << 8 | raw[i];
    return value;
}

bool FileBytes::is(std::uint64_t at, char const* text)
{
    char found[32];
    std::size_t const length = std::strlen(text);
    return length <= sizeof found && read(at, found, length) && std::memcmp(found, text, length) == 0;
}

}  // namespace zv_image_io
