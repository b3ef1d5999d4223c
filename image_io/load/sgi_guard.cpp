#include <algorithm>
#include <limits>
#include <vector>

#include "image_io/load/reader_guards.h"

namespace zv_image_io {

namespace {

constexpr std::uint64_t kHeader = 512;
constexpr std::uint32_t kMostOffset = std::numeric_limits<std::int32_t>::max();

struct Picture {
    std::uint32_t sample_bytes, width, height, channels;
};

/// Whether the runs of a row end where its samples end, as the reader takes for granted.
bool are_runs_safe(std::vector<unsigned char> const& row, Picture const& picture)
{
    std::size_t const step = picture.sample_bytes;
    std::size_t at = 0, room = picture.width;
    while (at < row.size()) {
        if (row.size() - at < step)
            return false;
        unsigned const packet = row[at + step - 1];
        std::size_t const count = packet & 0x7f;
        at += step;
        if (count == 0)
            break;
        std::size_t const stored = (packet & 0x80 ? count : 1) * step;
        if (count > room || stored > row.size() - at)
            return false;
        at += stored;
        room -= count;
    }
    return true;
}

/// The rows of a picture, of which many may be one in the file.
class Rows {
public:
    Rows(FileBytes& file, Picture const& picture)
        : m_file(file)
        , m_picture(picture)
        // Each sample takes two bytes of a run at most, so that more of them need not be looked at.
        , m_longest((std::uint64_t(picture.width) + 1) * 2 * picture.sample_bytes + 4)
        , m_budget(file)
        , m_known(kKnown)
    {
    }

    bool is_safe(std::uint32_t start, std::uint32_t length)
    {
        if (start > kMostOffset || length > kMostOffset)
            return false;  // negative to the reader
        if (!m_budget.take(bytes_in_vain(start, length)))
            return false;
        if (!m_file.has(start, length))
            return true;  // none to the reader, and does no harm
        std::uint64_t const row = std::uint64_t(start) << 32 | length;
        std::uint64_t& known = m_known[(start * 31u + length) % kKnown];
        if (known == row)
            return true;
        m_row.resize(static_cast<std::size_t>(std::min<std::uint64_t>(length, m_longest)));
        if (!m_budget.take(m_row.size()) || !m_file.read(start, m_row.data(), m_row.size()) ||
            !are_runs_safe(m_row, m_picture))
            return false;
        known = row;
        return true;
    }

private:
    // Enough for the different rows of a picture whose writer looks for equal ones, within a small memory.
    static constexpr std::size_t kKnown = 8192;

    /// What the reader reads without need, for each row anew: what there is of a row that is cut off, and what lies behind
    /// the samples.
    std::uint64_t bytes_in_vain(std::uint32_t start, std::uint32_t length) const
    {
        if (!m_file.has(start, length))
            return m_file.size() > start ? m_file.size() - start : 0;
        return length > m_longest ? length - m_longest : 0;
    }

    FileBytes& m_file;
    Picture const& m_picture;
    std::uint64_t m_longest;
    LookBudget m_budget;
    std::vector<std::uint64_t>
        m_known;  // safe rows: where they begin, and how long they are; the empty row is one
    std::vector<unsigned char> m_row;
};

bool are_rows_safe(FileBytes& file, Picture const& picture, std::uint64_t table_rows)
{
    std::uint64_t const count = std::uint64_t(picture.height) * picture.channels;
    if (count > table_rows || table_rows > kMostOffset || !file.has(kHeader, table_rows * 8))
        return false;
    Rows rows(file, picture);
    for (std::uint64_t row = 0; row < count; ++row) {
        auto const start = file.big(kHeader + row * 4, 4);
        auto const length = file.big(kHeader + (table_rows + row) * 4, 4);
        if (!start || !length || !rows.is_safe(*start, *length))
            return false;
    }
    return true;
}

}  // namespace

bool is_sgi_safe(FileBytes& file)
{
    if (!file.has(0, kHeader))
        return true;  // refused by the reader
    std::uint32_t const dimension = *file.big(4, 2), rows = *file.big(8, 2), planes = *file.big(10, 2);
    Picture const picture{*file.big(3, 1), *file.big(6, 2), dimension == 1 ? 1 : rows,
                          dimension == 3 ? planes : 1};
    if (dimension < 1 || dimension > 3)
        return true;  // refused by the reader
    if (picture.sample_bytes != 1 && picture.sample_bytes != 2)
        return false;
    bool const has_runs = *file.big(2, 1) == 1;
    return !has_runs || are_rows_safe(file, picture, std::uint64_t(rows) * planes);
}

}  // namespace zv_image_io
