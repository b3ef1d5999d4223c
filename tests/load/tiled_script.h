#pragma once

#include <string>

#include "tests/load/load_doors.h"
#include "tests/support/pictures.h"
#include "tests/support/scripted_format.h"

namespace zv_test {

/// A tiled file of 100 by 70 pixels whose samples go from -0.5 to 1.5.
inline float wide_tiled(int channel, int x, int y)
{
    return encoded(channel, x, y) * 2.0f - 0.5f;
}

inline ReadScript tiled_script(std::vector<std::string> const& names, int x = 0, int y = 0, int tile = 64,
                               OIIO::TypeDesc type = OIIO::TypeDesc::FLOAT)
{
    ReadScript script;
    script.spec = picture_spec(100, 70, int(names.size()), type, x, y, tile);
    script.spec.channelnames = names;
    script.sample = [](int channel, int column, int row) { return double(wide_tiled(channel, column, row)); };
    return script;
}

}  // namespace zv_test
