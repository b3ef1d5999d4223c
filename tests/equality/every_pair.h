#pragma once

#include <cstdlib>

namespace zv_equality {

/// With ZV_EVERY_PAIR in the environment the tests leave nothing out, and take minutes.
inline bool every_pair()
{
    return std::getenv("ZV_EVERY_PAIR") != nullptr;
}

}  // namespace zv_equality
