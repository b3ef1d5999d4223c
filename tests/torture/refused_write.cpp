#include "tests/torture/refused_write.h"

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <mutex>

namespace zv_torture {

namespace {

std::atomic<bool> s_is_armed = false;
std::mutex s_mutex;  // of what follows
std::string s_folder, s_path;
std::size_t s_byte = 0;

template <class Call>
Call* next(char const* name)
{
    return reinterpret_cast<Call*>(dlsym(RTLD_NEXT, name));
}

std::string path_of(int file)
{
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(file), error).string();
}

/// Whether the byte lies in such a piece of the file, and was not refused yet.
bool is_due(int file, std::size_t begin, std::size_t end)
{
    std::lock_guard const guard(s_mutex);
    return s_path.empty() && s_byte >= begin && s_byte < end && path_of(file).starts_with(s_folder);
}

int refuse(int file)
{
    std::lock_guard const guard(s_mutex);
    s_path = path_of(file);
    return EIO;
}

std::size_t size_of(int file)
{
    struct stat status {};
    return fstat(file, &status) == 0 ? std::size_t(status.st_size) : 0;
}

/// Closes a file by `real_close`, and says that it could not, if it is as long as that.
template <class Close>
int close_or_refuse(int file, Close const& real_close)
{
    std::size_t const size = size_of(file);
    int const error = is_due(file, size, size + 1) ? refuse(file) : 0;
    int const result = real_close();
    if (error == 0)
        return result;
    errno = error;
    return -1;
}

}  // namespace

RefusedWrite::RefusedWrite(std::string const& folder, std::size_t byte)
{
    s_folder = std::filesystem::canonical(folder).string() + "/";
    s_path.clear();
    s_byte = byte;
    s_is_armed = true;
}

RefusedWrite::~RefusedWrite()
{
    s_is_armed = false;
}

std::string RefusedWrite::path() const
{
    return s_path;
}

}  // namespace zv_torture

using namespace zv_torture;

extern "C" {
std::size_t fwrite(void const* bytes, std::size_t size, std::size_t count, std::FILE* file)
{
    static auto const real = next<decltype(fwrite)>("fwrite");
    if (!s_is_armed)
        return real(bytes, size, count, file);
    auto const begin = static_cast<std::size_t>(ftello(file));
    if (!is_due(fileno(file), begin, begin + size * count))
        return real(bytes, size, count, file);
    std::size_t const taken = real(bytes, 1, s_byte - begin, file);
    errno = refuse(fileno(file));
    return taken / size;
}
int fclose(std::FILE* file)
{
    static auto const real = next<decltype(fclose)>("fclose");
    if (!s_is_armed)
        return real(file);
    std::fflush(file);  // what it still holds counts as written
    return close_or_refuse(fileno(file), [&] { return real(file); });
}
/// As the system does it: what fits is taken, and the next call is told why that was all.
ssize_t pwrite(int file, void const* bytes, std::size_t size, off_t at)
{
    static auto const real = next<decltype(pwrite)>("pwrite");
    auto const begin = static_cast<std::size_t>(at);
    if (!s_is_armed || !is_due(file, begin, begin + size))
        return real(file, bytes, size, at);
    if (begin < s_byte)
        return real(file, bytes, s_byte - begin, at);
    errno = refuse(file);
    return -1;
}
int close(int file)
{
    static auto const real = next<decltype(close)>("close");
    return s_is_armed ? close_or_refuse(file, [&] { return real(file); }) : real(file);
}
}
