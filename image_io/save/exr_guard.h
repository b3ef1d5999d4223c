#pragma once

#include <exception>

#include "image_io/frame/guarded.h"
#include "image_io/frame/log_line.h"

namespace zv_image_io {

/// Runs `work` and gives true. What it throws, OpenEXR's exceptions or others, is logged at level 1 between `prefix` and
/// `suffix`, after a call of `on_failure`, and gives false. What that throws is dropped: the line comes all the same.
template <class Work, class OnFailure>
bool run_guarded(char const* prefix, char const* suffix, Work const& work, OnFailure const& on_failure)
{
    try {
        work();
        return true;
    } catch (std::exception const& exception) {  // all of Iex is one, too
        guarded(on_failure);
        log_line(kLogError, prefix, exception.what(), suffix);
    } catch (...) {
        guarded(on_failure);
        log_line(kLogError, prefix, "unknown exception", suffix);
    }
    return false;
}

template <class Work>
bool run_guarded(char const* prefix, char const* suffix, Work const& work)
{
    return run_guarded(prefix, suffix, work, [] {});
}

}  // namespace zv_image_io
