#pragma once

#include "host/core/core_string.h"
#include "image_io/frame/export.h"
#include "image_io/frame/library_names.h"

/// Which of the rules told the colour space of a file.
enum ColorSpaceRule {
    COLOR_SPACE_RULE_NONE = 0,       ///< no rule has an answer, or the file does not open
    COLOR_SPACE_RULE_TAG = 1,        ///< a tag of the file
    COLOR_SPACE_RULE_PATH = 2,       ///< the path names a space of the colour configuration
    COLOR_SPACE_RULE_EXTENSION = 3,  ///< the application's table of extensions
};

/// `ImageIO::get_color_space_from_file`, telling as well which rule gave the answer.
ZV_IMAGE_IO_EXPORT CoreString find_file_color_space(CoreString const& path, ColorSpaceRule& rule);

namespace zv_image_io {

/// The same of a file that is open already. Throws what lack of memory throws: an empty answer means another thing.
CoreString color_space_of(OIIO::ImageSpec const& spec, CoreString const& path, ColorSpaceRule& rule);

}  // namespace zv_image_io
