#pragma once

#include <string>
#include <vector>

namespace zvio {

/// Red, green and blue for a display, from 0 to 1, packed.
struct DisplayPicture {
    int width = 0, height = 0;
    std::vector<float> samples;
};

struct SheetLayout {
    int cell_width = 288, cell_height = 162;  ///< of a picture; the label stands below it
    int columns = 0;                          ///< 0: about as many as rows
    std::string font;                         ///< a file; empty: no labels
};

/// Pictures in cells of one size, row by row, each fitted into its cell with its label below it.
class ContactSheet {
public:
    ContactSheet(SheetLayout const& layout, std::size_t cell_count);

    /// Puts a picture into the next cell; one without pixels leaves it empty.
    void add(DisplayPicture const& picture, std::string const& label);

    [[nodiscard]] int width() const { return m_width; }
    [[nodiscard]] int height() const { return m_height; }
    [[nodiscard]] std::vector<unsigned char> const& bytes() const { return m_bytes; }
    /// False if a label could not be drawn.
    [[nodiscard]] bool has_labels() const { return m_has_labels; }

private:
    void put(DisplayPicture const& picture, int x, int y, int width, int height);

    SheetLayout m_layout;
    int m_columns = 1, m_width = 0, m_height = 0;
    std::size_t m_next = 0;
    bool m_has_labels;
    std::vector<unsigned char> m_bytes;  // three a pixel
};

/// The picture at the largest size of its shape that fits; as it is if it has that size.
DisplayPicture fit_picture(DisplayPicture const& picture, int width, int height);

/// A font file of this machine, or empty.
std::string find_font();

}  // namespace zvio
