#pragma once

#include "image_io/load/color_space_rules.h"

namespace zvio {

/// The rule's name in results.
inline char const* color_space_rule_name(ColorSpaceRule rule)
{
    switch (rule) {
    case COLOR_SPACE_RULE_TAG:
        return "tag";
    case COLOR_SPACE_RULE_PATH:
        return "path";
    case COLOR_SPACE_RULE_EXTENSION:
        return "extension";
    case COLOR_SPACE_RULE_NONE:
        break;
    }
    return "none";
}

}  // namespace zvio
