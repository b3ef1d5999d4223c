#include "image_io/load/guarded_read.h"

#include <string_view>

namespace zv_image_io {

namespace {

// A hostile file can give a new text for each of its rows.
constexpr unsigned int kMostErrors = 64;

}  // namespace

void note_error(ImageLoadReport& report, char const* text) noexcept
try {
    if (*text == 0 || report.errors.get_count() >= kMostErrors)
        return;
    CoreString const error(text);
    if (report.errors.find_index(error) == CoreString::kNotFound)
        report.errors.add(error);
} catch (...) {
    report.has_dropped_errors = true;
}

void note_lack_of_memory(ImageLoadReport& report, char const* text) noexcept
{
    report.has_lacked_memory = true;
    note_error(report, text);
}

ReadResult finish_read(OIIO::ImageInput& input, bool good, char const* exception_text,
                       ImageLoadReport& report)
{
    CoreString text(std::string_view(input.geterror()));
    if (text.is_empty())
        text = exception_text;
    note_error(report, text.get_data());
    return {good, text};
}

ReadSequence::ReadSequence(OIIO::ImageInput& input, ImageLoadReport& report)
    : m_input(input)
    , m_report(report)
    , m_has_echoes(std::string_view(input.format_name()) == "openexr")
{
}

}  // namespace zv_image_io
