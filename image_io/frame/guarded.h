#pragma once

#include <utility>

namespace zv_image_io {

/// The result of `work`, or `fallback` if it throws: for operations at the module's boundary, which nothing may pass.
template <class Result, class Work>
Result guarded(Result fallback, Work const& work) noexcept
{
    try {
        return work();
    } catch (...) {
        return fallback;
    }
}

/// The same for work without a result.
template <class Work>
void guarded(Work const& work) noexcept
{
    try {
        work();
    } catch (...) {
        // Only memory can fail here, and there is nobody to tell.
    }
}

}  // namespace zv_image_io
