#pragma once

#include <string>

#include "tests/torture/notes.h"

namespace zv_torture {

/// From now on every end of this process but that through `leave_process` is noted, with the frame that is to blame:
/// signals, a call of exit, and the processor time of a case. What the C and C++ libraries do counts for who called.
void watch_ends(Notes& notes);

/// Processor seconds that the process may use from now on, all threads together; 0 for any number.
void limit_processor_time(int seconds);

/// Ends the process without its destructors: libraries with threads of their own need not be asked.
[[noreturn]] void leave_process(int code);

/// A place in code: "libtiff.so.6: TIFFReadEncodedStrip", or an offset where there is no name.
struct Frame {
    std::string text;
    bool is_ours = false;    // the module, the host or this program
    bool is_system = false;  // the C and C++ libraries
};
Frame frame_of(void* address);

}  // namespace zv_torture
