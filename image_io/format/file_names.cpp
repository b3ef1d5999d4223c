#include <cstdio>

#include "host/sys/sys_filesystem.h"
#include "image_io/format/image_io_file_format.h"
#include "image_io/frame/guarded.h"

namespace {

/// Index of the part of a file name that takes a layer's name: the one in front of the last number behind the
/// first dot, or the first.
unsigned int find_layer_part(CoreVector<CoreString> const& parts)
{
    for (unsigned int index = parts.get_count() - 1; index >= 1; --index)
        if (parts[index].is_number())
            return index - 1;
    return 0;
}

/// Decimal digits of a number from 10 up; 1 for all below, negative ones too.
int count_digits(int number)
{
    int digits = 1;
    for (; number > 9; number /= 10)
        ++digits;
    return digits;
}

CoreString without_doubled_percent(CoreString const& text)
{
    CoreString result;
    for (unsigned int index = 0; index < text.get_count(); ++index) {
        char const character = text.get_data()[index];
        result += character;
        if (character == '%' && text.get_data()[index + 1] == '%')
            ++index;
    }
    return result;
}

}  // namespace

CoreString ImageIOFileFormat::construct_layer_file_name(CoreString const& path, CoreString const& layer)
{
    return zv_image_io::guarded(CoreString(), [&] {
        if (layer == "rgba")
            return CoreString(path);
        CoreVector<CoreString> parts = SysFilesystem::get_filename(path).split(".", false);
        if (parts.is_empty())
            return CoreString();
        if (!layer.is_empty()) {
            CoreString& chosen = parts[find_layer_part(parts)];
            chosen += "_";
            chosen += layer;
        }
        CoreString name = SysFilesystem::get_folder(path);
        name += SysFilesystem::get_folder_separator();
        for (unsigned int index = 0; index < parts.get_count(); ++index) {
            if (index)
                name += ".";
            name += parts[index];
        }
        return name;
    });
}

CoreString ImageIOFileFormat::construct_tile_file_name(CoreString const& path, int first_number,
                                                       int second_number)
{
    return zv_image_io::guarded(CoreString(), [&] {
        CoreString const base = path.end_with(".") ? path.sub_string(0, path.get_count() - 1) : path;
        char second[32];
        // The width of the second number follows the first alone.
        std::snprintf(second, sizeof second, "%0*d", count_digits(first_number), second_number);

        CoreString name = without_doubled_percent(base);
        name += ".tilex";
        name += first_number;
        name += "-";
        name += second;
        name += ".";
        return name;
    });
}
