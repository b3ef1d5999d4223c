#include "tests/fuzz/scratch.h"

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>

#include "tests/support/temp_dir.h"

namespace zv_fuzz {

namespace fs = std::filesystem;

std::string const& scratch_folder()
{
    static zv_test::TempDir const folder;
    static std::string const path = folder.path().string();
    return path;
}

std::string write_input(Bytes bytes, std::string const& extension)
{
    std::string path = scratch_folder() + "/input." + extension;
    unlink(path.c_str());  // some file systems write a file that is cut to 0 to the disk at once
    int const file = open(path.c_str(), O_CREAT | O_TRUNC | O_WRONLY | O_CLOEXEC, 0600);
    bool const is_written =
        file >= 0 && write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    if (file >= 0)
        close(file);
    require(is_written, "the scratch folder has room for the input");
    return path;
}

std::vector<std::string> scratch_files()
{
    std::vector<std::string> files;
    for (auto const& entry : fs::directory_iterator(scratch_folder()))
        if (entry.is_regular_file())
            files.push_back(entry.path().string());
    return files;
}

void empty_scratch_folder()
{
    for (auto const& entry : fs::directory_iterator(scratch_folder())) {
        std::error_code ignored;
        fs::remove_all(entry.path(), ignored);
    }
}

}  // namespace zv_fuzz
