#pragma once

#include <string>
#include <vector>

#include "tests/support/pictures.h"
#include "tests/support/scripted_format.h"

namespace zv_test {

/// A readable file of 70 by 40 pixels with channels of these names; `tile` 0 makes scanlines.
inline ReadScript script_of(std::vector<std::string> const& names, OIIO::TypeDesc type = OIIO::TypeDesc::FLOAT,
                            int tile = 0)
{
    ReadScript script;
    script.spec = picture_spec(70, 40, int(names.size()), type, 0, 0, tile);
    script.spec.channelnames = names;
    return script;
}

}  // namespace zv_test
