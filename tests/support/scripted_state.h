#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "tests/support/scripted_format.h"

namespace zv_test {

/// What a file's script says and what was noted; shared by the file object and its readers and writers.
struct ScriptedFile::State {
    ReadScript reading;
    WriteScript writing;

    std::mutex mutex;  // guards what follows
    std::vector<ReadCall> reads;
    int opens = 0, closes = 0;
    WriteRecord written;

    void note(std::string const& call)
    {
        std::lock_guard const guard(mutex);
        written.calls.push_back(call);
    }
};

/// The script of a path, null where there is none.
std::shared_ptr<ScriptedFile::State> scripted_state(std::string const& path);

bool any_script_takes_tiles();

OIIO::ImageInput* make_scripted_input();
OIIO::ImageOutput* make_scripted_output();

}  // namespace zv_test
