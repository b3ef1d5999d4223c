#pragma once

#include <algorithm>
#include <numeric>
#include <vector>

namespace zv_torture {

/// A step that meets each of `all` numbers once, the first ones far apart.
inline long long spread(long long all)
{
    long long step = std::max(1ll, static_cast<long long>(static_cast<double>(all) * 0.618));
    while (std::gcd(step, all) > 1)
        ++step;
    return step;
}

/// The cases of several lists in turn: the first of each, then the second of all that have one, and so on; each once.
class Turns {
public:
    struct Turn {
        std::size_t list = 0;
        long long at = 0;
    };

    Turns() = default;
    explicit Turns(std::vector<long long> sizes)
        : m_sizes(std::move(sizes))
        , m_by_size(m_sizes.size())
    {
        std::iota(m_by_size.begin(), m_by_size.end(), std::size_t(0));
        std::stable_sort(m_by_size.begin(), m_by_size.end(),
                         [this](std::size_t a, std::size_t b) { return m_sizes[a] < m_sizes[b]; });
    }

    [[nodiscard]] long long count() const { return std::accumulate(m_sizes.begin(), m_sizes.end(), 0ll); }

    /// Of a number from 0 to below `count`.
    Turn operator[](long long number) const
    {
        long long begin = 0;  // of the rounds that all lists from `shortest` on are in
        for (std::size_t shortest = 0; shortest < m_by_size.size(); ++shortest) {
            long long const end = m_sizes[m_by_size[shortest]],
                            lists = static_cast<long long>(m_by_size.size() - shortest);
            if (number < (end - begin) * lists)
                return {m_by_size[shortest + std::size_t(number % lists)], begin + number / lists};
            number -= (end - begin) * lists;
            begin = end;
        }
        return {};
    }

private:
    std::vector<long long> m_sizes;
    std::vector<std::size_t> m_by_size;
};

}  // namespace zv_torture
