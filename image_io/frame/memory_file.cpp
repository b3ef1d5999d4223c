#include "image_io/frame/memory_file.h"

#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "image_io/frame/checked_file.h"

namespace zv_image_io {

namespace {

constexpr std::size_t kPieceBytes = 1 << 20;
constexpr std::size_t kMostPath = 32;

int make_file(std::size_t room)
{
    rlimit limit;
    if (::getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY && limit.rlim_cur < room) {
        errno = EFBIG;
        return -1;
    }
    return ::memfd_create("picture", MFD_CLOEXEC);
}

}  // namespace

MemoryFile::MemoryFile(std::size_t room)
{
    m_path.reserve(kMostPath);  // once the file is open, nothing may throw
    m_file = make_file(room);
    m_path = "/proc/self/fd/";
    m_path += std::to_string(m_file);
}

MemoryFile::~MemoryFile()
{
    if (m_file >= 0)
        ::close(m_file);
}

bool MemoryFile::copy_to(CheckedFile& file) const
{
    struct stat status;
    if (::fstat(m_file, &status) != 0)
        return false;
    std::vector<char> piece(std::min<std::size_t>(kPieceBytes, static_cast<std::size_t>(status.st_size)));
    for (off_t at = 0; at < status.st_size;) {
        ssize_t const count = ::pread(m_file, piece.data(), piece.size(), at);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0) {
            errno = count < 0 ? errno : EIO;
            return false;
        }
        file.write(piece.data(), static_cast<std::size_t>(count));
        at += count;
    }
    return true;
}

}  // namespace zv_image_io
