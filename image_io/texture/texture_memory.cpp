// The cache's memory, read out of OpenImageIO's statistics text: no attribute tells it.

#include "image_io/texture/texture_memory.h"

#include <optional>

#include "host/gmath/gmath_units.h"
#include "image_io/frame/guarded.h"
#include "image_io/texture/image_io_texture_stream.h"

namespace {

using zv_image_io::guarded;

/// Where the value of the memory line stands in a statistics text.
struct MemoryLine {
    unsigned int start, end;
};

std::optional<MemoryLine> find_memory_line(CoreString const& statistics)
{
    static CoreString const key = "Peak cache memory : ";
    unsigned int const place = statistics.find(key);
    if (place == CoreString::kNotFound)
        return std::nullopt;
    unsigned int const start = place + key.length();
    unsigned int const end = statistics.find('\n', start);
    if (end == CoreString::kNotFound)
        return std::nullopt;
    return MemoryLine{start, end};
}

/// In megabytes. The byte is a rounded decimal: a value in bytes is not exact.
CoreVector<GMathUnits::UnitType> const& memory_units()
{
    static CoreVector<GMathUnits::UnitType> const units = [] {
        CoreVector<GMathUnits::UnitType> all;
        auto const add = [&all](char const* name, double factor, char const* symbol) {
            GMathUnits::add_unit(all, "memory", "memory", name, factor, symbol);
        };
        add("byte", 9.536743164e-07, "B");
        add("kilobyte", 0.0009765625, "KB");
        add("megabyte", 1.0, "MB");
        add("gigabyte", 1024.0, "GB");
        add("terabyte", 1048576.0, "TB");
        return all;
    }();
    return units;
}

/// Truncated; what 64 bits do not hold becomes the nearest that they do.
unsigned long long whole_bytes(double bytes)
{
    if (!(bytes >= 1.0))
        return 0;
    return bytes >= 18446744073709551616.0 ? ~0ull : static_cast<unsigned long long>(bytes);
}

}  // namespace

CoreString zv_image_io::peak_cache_memory(CoreString const& statistics)
{
    auto const line = find_memory_line(statistics);
    // The line end's position is passed as a count, so the text goes on past it; callers know it so.
    return line ? statistics.sub_string(line->start, line->end) : CoreString();
}

unsigned long long zv_image_io::peak_cache_bytes(CoreString const& statistics)
{
    auto const& units = memory_units();
    auto const line = find_memory_line(statistics);
    if (!line)
        return 0;
    CoreString const value = statistics.sub_string(line->start, line->end - line->start);
    return whole_bytes(GMathUnits::get_value_from_str_with_unit(units, value, 0.0, "memory", "memory", "byte",
                                                                GMathUnits::FORMAT_NUMBER_UNIT));
}

CoreString ImageIOTextureStream::get_peak_cache_memory()
{
    return guarded(CoreString(), [this] { return zv_image_io::peak_cache_memory(get_stats(1)); });
}

unsigned long long ImageIOTextureStream::get_memory_size() const
{
    return guarded(0ull, [] {
        ImageIOTextureStream* const stream = get_texture_stream();
        return zv_image_io::peak_cache_bytes(stream ? stream->get_stats(1) : CoreString());
    });
}
