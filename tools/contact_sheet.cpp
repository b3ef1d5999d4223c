#include "tools/contact_sheet.h"

#include <OpenImageIO/imagebuf.h>
#include <OpenImageIO/imagebufalgo.h>

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "tools/interleaved.h"

namespace zvio {

namespace {

constexpr int kGap = 8;
constexpr int kLabelHeight = 24;
constexpr int kFontSize = 14;
constexpr unsigned char kBackground = 34;
constexpr unsigned char kEmptyCell = 20;

OIIO::ImageSpec rgb_spec(int width, int height)
{
    return {width, height, 3, OIIO::TypeDesc::FLOAT};
}

/// The label as a picture of its own, cut at its end where it is too wide. Without pixels if the font cannot be used.
DisplayPicture draw_label(std::string const& full_text, std::string const& font, int width)
{
    std::string text = full_text;
    for (std::size_t length = full_text.size();; text = full_text.substr(0, --length) + "...") {
        OIIO::ROI const size = OIIO::ImageBufAlgo::text_size(text, kFontSize, font);
        if (!size.defined())
            return {};
        if (size.width() <= width || length <= 1)
            break;
    }
    DisplayPicture label{width, kLabelHeight, {}};
    label.samples.assign(std::size_t(width) * kLabelHeight * 3, float(kBackground) / 255.0f);
    OIIO::ImageBuf target(rgb_spec(width, kLabelHeight), label.samples.data());
    float const white[] = {0.92f, 0.92f, 0.92f};
    if (!OIIO::ImageBufAlgo::render_text(target, 0, kLabelHeight - 7, text, kFontSize, font, white))
        return {};
    return label;
}

}  // namespace

ContactSheet::ContactSheet(SheetLayout const& layout, std::size_t cell_count)
    : m_layout(layout)
    , m_has_labels(!layout.font.empty())
{
    int const count = std::max(1, static_cast<int>(cell_count));
    m_columns = layout.columns > 0 ? std::min(layout.columns, count)
                                   : static_cast<int>(std::ceil(std::sqrt(double(count))));
    int const rows = (count + m_columns - 1) / m_columns;
    int const label_height = m_has_labels ? kLabelHeight : 0;
    m_width = kGap + m_columns * (layout.cell_width + kGap);
    m_height = kGap + rows * (layout.cell_height + label_height + kGap);
    m_bytes.assign(std::size_t(m_width) * m_height * 3, kBackground);
}

void ContactSheet::put(DisplayPicture const& picture, int x, int y, int width, int height)
{
    auto const bytes = to_bytes(picture.samples);
    for (int row = 0; row < height; ++row)
        std::copy_n(bytes.begin() + std::ptrdiff_t(row) * picture.width * 3, width * 3,
                    m_bytes.begin() + (std::ptrdiff_t(y + row) * m_width + x) * 3);
}

void ContactSheet::add(DisplayPicture const& picture, std::string const& label)
{
    int const column = static_cast<int>(m_next % m_columns), row = static_cast<int>(m_next / m_columns);
    int const label_height = m_layout.font.empty() ? 0 : kLabelHeight;
    int const x = kGap + column * (m_layout.cell_width + kGap);
    int const y = kGap + row * (m_layout.cell_height + label_height + kGap);
    ++m_next;
    for (int line = y; line < y + m_layout.cell_height; ++line)
        std::fill_n(m_bytes.begin() + (std::ptrdiff_t(line) * m_width + x) * 3, m_layout.cell_width * 3,
                    kEmptyCell);
    if (picture.width > 0 && picture.height > 0) {
        DisplayPicture const fitted = fit_picture(picture, m_layout.cell_width, m_layout.cell_height);
        put(fitted, x + (m_layout.cell_width - fitted.width) / 2,
            y + (m_layout.cell_height - fitted.height) / 2, fitted.width, fitted.height);
    }
    if (!m_has_labels)
        return;
    DisplayPicture const text = draw_label(label, m_layout.font, m_layout.cell_width);
    m_has_labels = text.width > 0;
    if (m_has_labels)
        put(text, x, y + m_layout.cell_height, text.width, text.height);
}

DisplayPicture fit_picture(DisplayPicture const& picture, int width, int height)
{
    double const scale = std::min(double(width) / picture.width, double(height) / picture.height);
    DisplayPicture fitted;
    fitted.width = std::clamp(static_cast<int>(std::lround(picture.width * scale)), 1, width);
    fitted.height = std::clamp(static_cast<int>(std::lround(picture.height * scale)), 1, height);
    if (fitted.width == picture.width && fitted.height == picture.height)
        return picture;
    fitted.samples.resize(std::size_t(fitted.width) * fitted.height * 3);
    OIIO::ImageBuf const source(rgb_spec(picture.width, picture.height),
                                const_cast<float*>(picture.samples.data()));
    OIIO::ImageBuf target(rgb_spec(fitted.width, fitted.height), fitted.samples.data());
    OIIO::ImageBufAlgo::resize(target, source);
    return fitted;
}

std::string find_font()
{
    static char const* const kFonts[] = {
        "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf",
        "/usr/share/fonts/TTF/DejaVuSans.ttf",
        "/usr/share/fonts/dejavu-sans-fonts/DejaVuSans.ttf",
        "/usr/share/fonts/truetype/liberation/LiberationSans-Regular.ttf",
        "/usr/share/fonts/truetype/freefont/FreeSans.ttf",
        "/System/Library/Fonts/Helvetica.ttc",
    };
    std::error_code ignored;
    for (char const* font : kFonts)
        if (std::filesystem::exists(font, ignored))
            return font;
    return {};
}

}  // namespace zvio
