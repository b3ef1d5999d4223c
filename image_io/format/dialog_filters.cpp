#include <new>

#include "image_io/format/image_io_file_format.h"
#include "image_io/frame/guarded.h"

namespace {

/// Each format has some: if there are none, there was no memory for them.
CoreVector<CoreString> required(CoreVector<CoreString> extensions)
{
    if (extensions.is_empty())
        throw std::bad_alloc();
    return extensions;
}

/// Appends a label, a tab and the extensions in a brace list.
void add_filter(CoreString& filters, char const* label, CoreVector<CoreString> const& extensions)
{
    filters += label;
    filters += "\t*.{";
    for (unsigned int index = 0; index < extensions.get_count(); ++index) {
        if (index)
            filters += ",";
        filters += extensions[index];
    }
    filters += "}";
}

void add_new(CoreVector<CoreString>& known, CoreVector<CoreString> const& extensions)
{
    for (CoreString const& extension : extensions)
        if (known.find_index(extension) == CoreString::kNotFound)
            known.add(extension);
}

}  // namespace

CoreString ImageIOFileFormat::get_extension_file_filters_for_open_file()
{
    return zv_image_io::guarded(CoreString(), [&] {
        CoreVector<CoreString> known;
        for (int number = 0; number <= LOAD_HDR; ++number)
            add_new(known, required(get_load_extensions(static_cast<Load>(number))));

        CoreString filters;
        add_filter(filters, "Known Files", known);
        for (int number = 0; number <= LOAD_HDR; ++number) {
            Load const format = static_cast<Load>(number);
            filters += "\n";
            add_filter(filters, get_load_name(format), required(get_load_extensions(format)));
        }
        return filters;
    });
}

CoreString ImageIOFileFormat::get_extension_file_filters_for_save_file()
{
    return zv_image_io::guarded(CoreString(), [&] {
        CoreString filters;
        for (int number = 0; number < SAVE_UNKNOWN; ++number) {
            Save const format = static_cast<Save>(number);
            if (number)
                filters += "\n";
            add_filter(filters, get_save_name(format), required(get_save_extensions(format)));
        }
        return filters;
    });
}
