#include "tools/comparison.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace zvio {

namespace {

constexpr int kBandRows = 64;

double difference(double first, double second)
{
    if (first == second || (std::isnan(first) && std::isnan(second)))
        return 0.0;
    double const distance = std::abs(first - second);
    return std::isfinite(distance) ? distance : std::numeric_limits<double>::infinity();
}

/// The rows of one picture that are compared.
struct Band {
    explicit Band(StoredPicture& read_from)
        : picture(read_from)
    {
    }

    StoredPicture& picture;
    std::vector<double> planes;

    void read(int y, int rows, std::string& trouble)
    {
        std::string text;
        if (!picture.read(y, rows, planes, text) && trouble.empty())
            trouble = text.empty() ? "rows cannot be read" : text;
        m_rows = rows;
    }

    /// The first sample of a row of the common window.
    [[nodiscard]] double const* row(std::size_t channel, int row, int x) const
    {
        auto const& window = picture.header().data_window;
        return planes.data() + (channel * m_rows + row) * std::size_t(window.width()) + (x - window.x());
    }

private:
    std::size_t m_rows = 0;
};

class Comparer {
public:
    Comparer(StoredPicture& first, StoredPicture& second, Tolerance const& tolerance,
             DifferenceRows const& take_rows)
        : m_first(first)
        , m_second(second)
        , m_tolerance(tolerance)
        , m_take_rows(take_rows)
    {
        match_channels();
        m_result.window = common_window(first.header().data_window, second.header().data_window);
    }

    Comparison run()
    {
        auto const& window = m_result.window;
        int const end_y = window.y() + window.height();
        for (int y = window.y(); y < end_y && !m_pairs.empty(); y += kBandRows)
            compare_band(y, std::min(kBandRows, end_y - y));
        return std::move(m_result);
    }

private:
    void match_channels()
    {
        auto const& first = m_first.picture.header();
        auto const& second = m_second.picture.header();
        for (std::size_t index = 0; index < first.channels.size(); ++index) {
            std::string const& name = first.channels[index].name;
            if (auto const other = second.find_channel(name)) {
                m_pairs.emplace_back(index, *other);
                m_result.channels.push_back({name});
            } else {
                m_result.only_in_first.push_back(name);
            }
        }
        for (StoredChannel const& channel : second.channels)
            if (!first.find_channel(channel.name))
                m_result.only_in_second.push_back(channel.name);
    }

    void compare_band(int y, int rows)
    {
        m_first.read(y, rows, m_result.first_trouble);
        m_second.read(y, rows, m_result.second_trouble);
        std::size_t const width = static_cast<std::size_t>(m_result.window.width());
        m_worst.assign(width * rows, 0.0);
        m_planes.assign(m_take_rows ? width * rows * m_pairs.size() : 0, 0.0f);
        for (std::size_t pair = 0; pair < m_pairs.size(); ++pair)
            for (int row = 0; row < rows; ++row)
                compare_row(pair, y, row, rows);
        for (double const worst : m_worst) {
            m_result.failed_pixels += worst > m_tolerance.fail;
            m_result.warned_pixels += worst > m_tolerance.warn;
        }
        if (m_take_rows)
            m_take_rows(y, rows, m_planes);
    }

    void compare_row(std::size_t pair, int y, int row, int rows)
    {
        int const x = m_result.window.x();
        std::size_t const width = static_cast<std::size_t>(m_result.window.width());
        double const* const first = m_first.row(m_pairs[pair].first, row, x);
        double const* const second = m_second.row(m_pairs[pair].second, row, x);
        ChannelDifference& channel = m_result.channels[pair];
        channel.pixels += width;
        for (std::size_t column = 0; column < width; ++column) {
            double const distance = difference(first[column], second[column]);
            if (distance > channel.maximum) {
                channel.maximum = distance;
                channel.maximum_x = x + static_cast<int>(column);
                channel.maximum_y = y + row;
            }
            if (std::isfinite(distance)) {
                channel.sum += distance;
                channel.square_sum += distance * distance;
            }
            for (double const sample : {first[column], second[column]})
                if (std::isfinite(sample))
                    channel.peak = std::max(channel.peak, std::abs(sample));
            channel.failed_pixels += distance > m_tolerance.fail;
            channel.warned_pixels += distance > m_tolerance.warn;
            double& worst = m_worst[row * width + column];
            worst = std::max(worst, distance);
            if (m_take_rows)
                m_planes[(pair * rows + row) * width + column] = static_cast<float>(distance);
        }
    }

    Band m_first, m_second;
    Tolerance m_tolerance;
    DifferenceRows const& m_take_rows;
    std::vector<std::pair<std::size_t, std::size_t>> m_pairs;
    std::vector<double> m_worst;  // of a pixel, over its channels
    std::vector<float> m_planes;
    Comparison m_result;
};

}  // namespace

std::optional<double> ChannelDifference::psnr() const
{
    if (square_sum == 0.0)
        return {};
    return 10.0 * std::log10(peak * peak * static_cast<double>(pixels) / square_sum);
}

GMathVec4<int> common_window(GMathVec4<int> const& first, GMathVec4<int> const& second)
{
    int const x = std::max(first.x(), second.x()), y = std::max(first.y(), second.y());
    int const end_x = std::min(first.x() + first.width(), second.x() + second.width());
    int const end_y = std::min(first.y() + first.height(), second.y() + second.height());
    if (end_x <= x || end_y <= y)
        return {0, 0, 0, 0};
    return {x, y, end_x - x, end_y - y};
}

Comparison compare(StoredPicture& first, StoredPicture& second, Tolerance const& tolerance,
                   DifferenceRows const& take_rows)
{
    return Comparer(first, second, tolerance, take_rows).run();
}

}  // namespace zvio
