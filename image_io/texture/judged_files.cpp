#include "image_io/texture/judged_files.h"

#include <array>
#include <cstdint>
#include <mutex>

#include "image_io/load/reader_guards.h"

namespace zv_image_io {

namespace {

struct Known {
    char const* name = nullptr;
    unsigned generation = 0;
    bool is_safe = false;
};

constexpr std::size_t kKnown = 128;

std::size_t place_of(char const* name)
{
    return reinterpret_cast<std::uintptr_t>(name) * 0x9e3779b97f4a7c15u >> 57;  // 7 bits
}
static_assert(kKnown == 1 << 7);

}  // namespace

bool JudgedFiles::is_safe(UniqueString const& name)
{
    thread_local constinit Known latest;  // apart from the table, which random lookups drive out of the cache
    thread_local constinit std::array<Known, kKnown> known_here;
    unsigned const generation = m_generation.load(std::memory_order_acquire);
    if (latest.name == name.c_str() && latest.generation == generation)
        return latest.is_safe;
    Known& known = known_here[place_of(name.c_str())];
    if (known.name != name.c_str() || known.generation != generation)
        known = {name.c_str(), generation, judge(name)};
    latest = known;
    return known.is_safe;
}

bool JudgedFiles::judge(UniqueString const& name)
{
    {
        std::shared_lock const guard(m_mutex);
        if (auto const found = m_judged.find(name.c_str()); found != m_judged.end())
            return found->second;
    }
    bool const is_safe = survives_reading(name.c_str());
    std::unique_lock const guard(m_mutex);
    m_judged[name.c_str()] = is_safe;
    return is_safe;
}

void JudgedFiles::forget()
{
    std::unique_lock const guard(m_mutex);
    m_judged.clear();
    m_generation.fetch_add(1, std::memory_order_release);
}

}  // namespace zv_image_io
