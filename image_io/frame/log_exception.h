#pragma once

#include <exception>

#include "image_io/frame/log_line.h"

namespace zv_image_io {

/// Only inside of a handler: logs one line of level 1 that gives the exception's own text as the reason, made of `before`,
/// `name`, `between`, the reason and `end`. For handlers at the module's boundary, behind which nobody hears of it.
template <class Name>
void log_exception(char const* before, Name const& name, char const* between, char const* end) noexcept
{
    try {
        throw;
    } catch (std::exception const& exception) {
        log_line(kLogError, before, name, between, exception.what(), end);
    } catch (...) {
        log_line(kLogError, before, name, between, "unknown exception", end);
    }
}

/// The same for a file that is not written. Where there is no file yet, `name` says what was to be written.
template <class Name>
void log_save_exception(Name const& name) noexcept
{
    log_exception("Could not write ", name, ", error = ", "\n");
}

/// The same for an image that is not loaded.
template <class Name>
void log_load_exception(Name const& path) noexcept
{
    log_exception("Failed to load image '", path, "': ", ".\n");
}

}  // namespace zv_image_io
