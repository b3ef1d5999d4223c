#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfInputPart.h>
#include <ImfMultiPartInputFile.h>
#include <ImfPartType.h>
#include <ImfTiledInputPart.h>

#include <algorithm>
#include <bit>

#include "tools/exr_names.h"
#include "tools/verification.h"

namespace zvio::exr {

namespace {

/// Rows that are read in one call; a call that fails is taken up again row by row.
constexpr int kBandRows = 256;

/// One part of a file: where its samples go while they are looked at.
struct Part {
    Imf::Header const& header;
    Verification& verification;
    std::size_t first_channel;  // in the list of the verification
    std::vector<std::vector<std::uint32_t>> planes = {};

    /// A frame buffer for what lies in `box`; integers stay such, all else comes as float.
    Imf::FrameBuffer frame(Imath::Box2i const& box, bool relative_to_tile)
    {
        Imf::FrameBuffer frame;
        planes.clear();
        for (auto channel = header.channels().begin(); channel != header.channels().end(); ++channel) {
            auto const& [type, x_sampling, y_sampling, p_linear] = channel.channel();
            std::size_t const columns = (box.max.x - box.min.x) / x_sampling + 1;
            std::size_t const rows = (box.max.y - box.min.y) / y_sampling + 1;
            auto& plane = planes.emplace_back(columns * rows, 0);
            frame.insert(channel.name(),
                         Imf::Slice::Make(type == Imf::UINT ? Imf::UINT : Imf::FLOAT, plane.data(), box,
                                          sizeof(std::uint32_t), columns * sizeof(std::uint32_t), x_sampling,
                                          y_sampling, 0.0, relative_to_tile, relative_to_tile));
        }
        return frame;
    }

    void count_samples()
    {
        std::size_t index = 0;
        for (auto channel = header.channels().begin(); channel != header.channels().end();
             ++channel, ++index) {
            if (channel.channel().type == Imf::UINT)
                continue;
            VerifiedChannel& counts = verification.channels[first_channel + index];
            for (std::uint32_t const bits : planes[index])
                verification.count_sample(counts, std::bit_cast<float>(bits));
        }
    }
};

/// False, and the reader's text kept, if a call throws.
template <class Read>
bool try_to_read(Verification& verification, bool keeps_text, Read const& read)
{
    try {
        read();
        return true;
    } catch (std::exception const& error) {
        if (keeps_text)
            verification.add_error(error.what());
        return false;
    }
}

bool read_rows(Imf::InputPart& input, Part& part, int first, int last, bool keeps_text)
{
    Imath::Box2i box = part.header.dataWindow();
    box.min.y = first;
    box.max.y = last;
    bool const is_read = try_to_read(part.verification, keeps_text, [&] {
        input.setFrameBuffer(part.frame(box, false));
        input.readPixels(first, last);
    });
    if (is_read)
        part.count_samples();
    return is_read;
}

void verify_scanlines(Imf::InputPart& input, Part& part)
{
    Imath::Box2i const window = part.header.dataWindow();
    for (int first = window.min.y; first <= window.max.y; first += kBandRows) {
        int const last = std::min(first + kBandRows - 1, window.max.y);
        bool const is_whole_band = read_rows(input, part, first, last, false);
        // The first row behind a failed call can get that call's exception: a row has two tries.
        for (int y = first; y <= last; ++y)
            part.verification.add_row(y, !is_whole_band && !read_rows(input, part, y, y, false) &&
                                             !read_rows(input, part, y, y, true));
    }
}

void verify_tiles(Imf::TiledInputPart& input, Part& part)
{
    for (int level_y = 0; level_y < input.numYLevels(); ++level_y)
        for (int level_x = 0; level_x < input.numXLevels(); ++level_x) {
            if (!input.isValidLevel(level_x, level_y))
                continue;
            for (int row = 0; row < input.numYTiles(level_y); ++row)
                for (int column = 0; column < input.numXTiles(level_x); ++column) {
                    ++part.verification.tiles_asked;
                    Imath::Box2i const box = input.dataWindowForTile(column, row, level_x, level_y);
                    Imath::Box2i const inside({0, 0}, box.max - box.min);
                    bool const is_read = try_to_read(part.verification, true, [&] {
                        input.setFrameBuffer(part.frame(inside, true));
                        input.readTile(column, row, level_x, level_y);
                    });
                    if (is_read)
                        part.count_samples();
                    else
                        ++part.verification.tiles_missing;
                }
        }
}

void verify_part(Imf::MultiPartInputFile& file, int number, Verification& verification)
{
    Imf::Header const& header = file.header(number);
    std::string const prefix =
        number == 0 ? "" : (header.hasName() ? header.name() : std::to_string(number)) + ":";
    Part part{header, verification, verification.channels.size()};
    for (auto channel = header.channels().begin(); channel != header.channels().end(); ++channel)
        verification.channels.push_back(
            {prefix + lower_case(channel.name()), exr_type_name(channel.channel().type)});
    verification.is_complete = verification.is_complete && file.partComplete(number);
    if (header.hasType() && Imf::isDeepData(header.type())) {
        verification.add_error("deep pictures are not looked at");
    } else if (header.hasTileDescription()) {
        Imf::TiledInputPart input(file, number);
        verify_tiles(input, part);
    } else {
        Imf::InputPart input(file, number);
        verify_scanlines(input, part);
    }
}

}  // namespace

void verify(std::string const& path, Verification& verification)
{
    Imf::MultiPartInputFile file(path.c_str());
    verification.is_open = true;
    for (int number = 0; number < file.parts(); ++number)
        verify_part(file, number, verification);
}

}  // namespace zvio::exr
