#pragma once

#include <filesystem>
#include <string>

namespace zv_test {

/// A folder of its own for one test; it goes away, with all in it, when the object does.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(TempDir const&) = delete;
    TempDir& operator=(TempDir const&) = delete;

    std::filesystem::path const& path() const { return m_path; }
    /// The full path of a file of that name inside the folder.
    std::string file(std::string const& name) const { return (m_path / name).string(); }

private:
    std::filesystem::path m_path;
};

}  // namespace zv_test
