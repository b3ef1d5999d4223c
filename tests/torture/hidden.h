#pragma once

namespace zv_torture {

/// What the compiler must not see through.
template <class T>
T hidden(T value)
{
    T volatile copy = value;
    return copy;
}

}  // namespace zv_torture
