#include <OpenImageIO/imageio.h>

#include "image_io/format/extension_list.h"
#include "image_io/format/image_io_file_format.h"

namespace zv_image_io {

CoreVector<CoreString> parse_extension_list(CoreString const& list)
{
    CoreVector<CoreString> extensions;
    for (CoreString const& entry : list.split(";", false)) {
        CoreVector<CoreString> const pieces = entry.split(":", false);
        if (pieces.get_count() <= 1)
            continue;
        for (CoreString const& extension : pieces[1].split(",", false))
            extensions.add(extension);
    }
    return extensions;
}

CoreVector<CoreString>& ExtensionList::get()
{
    if (m_filled.load(std::memory_order_acquire))
        return m_extensions;
    m_lock.lock(SysThreadLock::DURATION_WAIT);
    if (!m_filled.load(std::memory_order_relaxed))
        fill();
    m_lock.unlock();
    return m_extensions;
}

void ExtensionList::fill()
{
    try {
        CoreString text;
        if (!m_source(text))
            return;
        CoreVector<CoreString> extensions = parse_extension_list(text);
        bool const has_some = !extensions.is_empty();
        m_extensions = std::move(extensions);
        m_filled.store(has_some, std::memory_order_release);
    } catch (...) {
        // No memory: the list stays empty, and the next call tries again.
    }
}

namespace {

bool ask_openimageio(CoreString& list)
{
    OIIO::ustring text;
    if (!OIIO::getattribute("extension_list", OIIO::TypeDesc::STRING, &text))
        return false;
    list.set_data(text.c_str());
    return true;
}

ExtensionList& supported_list()
{
    static ExtensionList list(ask_openimageio);
    return list;
}

}  // namespace

}  // namespace zv_image_io

CoreVector<CoreString>& ImageIOFileFormat::get_supported_extensions()
{
    return zv_image_io::supported_list().get();
}

bool ImageIOFileFormat::is_extension_valid(CoreString const& extension)
{
    return zv_image_io::supported_list().contains(extension);
}
