#pragma once

#include <cstddef>
#include <string>

namespace zv_torture {

// The program has the calls by which the module writes files, and closes them, in front of the system's. They do nothing
// special until they are told.

/// While it lives, one byte of the files in a folder is refused, once: the first write that comes to it ends in front of it,
/// with EIO, and all that comes later is taken again. To close a file is the byte behind its last one.
///
/// Threads  the files may be written on any; one of these at a time
class RefusedWrite {
public:
    RefusedWrite(std::string const& folder, std::size_t byte);
    ~RefusedWrite();
    RefusedWrite(RefusedWrite const&) = delete;
    RefusedWrite& operator=(RefusedWrite const&) = delete;

    /// The file that lacks the byte; empty while no write came to it.
    [[nodiscard]] std::string path() const;
};

}  // namespace zv_torture
