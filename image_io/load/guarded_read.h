#pragma once

#include <OpenImageIO/imageio.h>

#include <exception>

#include "host/core/core_string.h"
#include "image_io/load/image_load_report.h"

namespace zv_image_io {

/// Keeps a reader's text for the report: each once, none that is empty, and only so many of them. A text for which there
/// is no memory is dropped.
void note_error(ImageLoadReport& report, char const* text) noexcept;

/// The same of a part of the picture for which there is no memory.
void note_lack_of_memory(ImageLoadReport& report, char const* text) noexcept;

/// What came of one read. `error` is the reader's text, or that of an exception if the reader has none.
struct ReadResult {
    bool good;
    CoreString error;
};

/// Takes the text that the reader left behind, notes it in the report and joins it to the outcome of the read.
ReadResult finish_read(OIIO::ImageInput& input, bool good, char const* exception_text,
                       ImageLoadReport& report);

/// Runs `read()`, one read of the file library that gives a bool. What it throws is a failed read: broken headers make
/// the libraries throw std::bad_alloc among others. A text that stays behind after a good read is noted, too.
template <class Read>
ReadResult guarded_read(OIIO::ImageInput& input, ImageLoadReport& report, Read&& read)
{
    try {
        return finish_read(input, read(), "", report);
    } catch (std::exception const& exception) {
        return finish_read(input, false, exception.what(), report);
    } catch (...) {
        return finish_read(input, false, "unknown exception", report);
    }
}

/// The reads of one reader, one after the other.
///
/// Lines of OpenEXR files (OpenImageIO 2.4.7.1): a reader that ran into the end of its file fails in the next read as
/// well, whatever that asks for. So there a failure right behind another one is asked again before it counts.
class ReadSequence {
public:
    ReadSequence(OIIO::ImageInput& input, ImageLoadReport& report);

    /// `guarded_read`, once more if `may_repeat` and the failure may be an echo of the one before it.
    template <class Read>
    ReadResult run(bool may_repeat, Read&& read)
    {
        ReadResult result = guarded_read(m_input, m_report, read);
        if (!result.good && may_repeat && m_has_echoes && m_has_failed)
            if (ReadResult again = guarded_read(m_input, m_report, read); again.good)
                result = again;
        m_has_failed = !result.good;
        return result;
    }

private:
    OIIO::ImageInput& m_input;
    ImageLoadReport& m_report;
    bool m_has_echoes;
    bool m_has_failed = false;  // in the read before
};

}  // namespace zv_image_io
