#pragma once

#include <algorithm>

#include "tests/torture/turns.h"

namespace zv_torture {

/// In which order the bytes of a file have their turn, each once. By turns one of the first and the last of them, from outside
/// inwards, and one of those between them, far from each other. Behind the outermost each seed begins elsewhere.
class ByteOrder {
public:
    ByteOrder(long long size, unsigned long long seed)
        : m_size(size)
        , m_begin(static_cast<long long>((seed * 0x9e3779b97f4a7c15u >> 1) % 1000003))
    {
    }

    [[nodiscard]] long long operator[](long long turn) const
    {
        long long const ends = std::min(2 * kEnd, m_size), inner = m_size - ends,
                        in_turn = 2 * std::min(ends, inner);
        bool const is_end = turn < in_turn ? turn % 2 == 0 : ends > inner;
        long long const at = turn < in_turn ? turn / 2 : turn - in_turn / 2;
        if (!is_end)
            return kEnd + (at * spread(inner) + m_begin) % inner;
        long long const inwards =
            at < kOutermost ? at : kOutermost + (at - kOutermost + m_begin) % (ends - kOutermost);
        return inwards % 2 == 0 ? inwards / 2 : m_size - 1 - inwards / 2;
    }

private:
    static constexpr long long kEnd = 1024;     // bytes at either end that come first
    static constexpr long long kOutermost = 8;  // with every seed

    long long m_size, m_begin;
};

}  // namespace zv_torture
