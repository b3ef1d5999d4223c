#include "tools/written_file.h"

#include <algorithm>

#include "tools/text_table.h"

namespace zvio {

namespace {

std::string text_of(GMathVec4<int> const& window)
{
    return window_text(window.x(), window.y(), window.width(), window.height());
}

/// Name and type of each, in an order of their own: files sort their channels.
std::vector<std::string> sorted_channels(PlannedFile const& planned)
{
    std::vector<std::string> texts;
    for (PlannedChannel const& channel : planned.channels)
        texts.push_back(lower_case(channel.name) + " " + channel.type);
    std::sort(texts.begin(), texts.end());
    return texts;
}

std::vector<std::string> sorted_channels(StoredHeader const& header)
{
    std::vector<std::string> texts;
    for (StoredChannel const& channel : header.channels)
        texts.push_back(channel.name + " " + channel.type);
    std::sort(texts.begin(), texts.end());
    return texts;
}

/// What is in one list and not in the other.
std::string difference_text(std::vector<std::string> const& first, std::vector<std::string> const& second)
{
    std::vector<std::string> only;
    std::set_difference(first.begin(), first.end(), second.begin(), second.end(), std::back_inserter(only));
    std::string text;
    for (std::string const& name : only)
        text += (text.empty() ? "" : ", ") + name;
    return text.empty() ? "none" : text;
}

void compare_exr(PlannedFile const& planned, StoredHeader const& found, std::vector<std::string>& differences)
{
    if (!(found.data_window == planned.data_window))
        differences.push_back("its data window is " + text_of(found.data_window) + " instead of " +
                              text_of(planned.data_window));
    if (!(found.display_window == planned.display_window))
        differences.push_back("its display window is " + text_of(found.display_window) + " instead of " +
                              text_of(planned.display_window));
    auto const wanted = sorted_channels(planned), there = sorted_channels(found);
    if (wanted != there)
        differences.push_back("channels that are missing: " + difference_text(wanted, there) +
                              "; that were not planned: " + difference_text(there, wanted));
}

/// Other formats keep neither the names of channels nor, some of them, their place.
void compare_simple(PlannedFile const& planned, StoredHeader const& found,
                    std::vector<std::string>& differences)
{
    if (found.data_window.width() != planned.data_window.width() ||
        found.data_window.height() != planned.data_window.height())
        differences.push_back("it is " + text_of(found.data_window) + " instead of " +
                              text_of(planned.data_window));
    if (found.channels.size() != planned.channels.size())
        differences.push_back("it has " + count_text(found.channels.size(), "channel") + " instead of " +
                              std::to_string(planned.channels.size()));
    else if (!planned.channels.empty() && found.channels[0].type != planned.channels[0].type)
        differences.push_back("its samples are " + found.channels[0].type + " instead of " +
                              planned.channels[0].type);
}

}  // namespace

std::vector<std::string> differences_from_plan(PlannedFile const& planned, Verification const& found)
{
    std::vector<std::string> differences;
    StoredHeader const& header = found.header;
    if ((header.format == "openexr") != planned.is_exr)
        differences.push_back("it is a file of the format " + header.format);
    else if (planned.is_exr)
        compare_exr(planned, header, differences);
    else
        compare_simple(planned, header, differences);
    if ((header.tile_width != 0) != (planned.tile_size != 0))
        differences.push_back(header.tile_width ? "it is tiled" : "it is not tiled");
    return differences;
}

bool check_written_files(OutputPlan const& plan, Document& document)
{
    bool is_right = true;
    for (PlannedFile const& planned : plan.files) {
        Verification const found = verify_file(planned.path);
        if (!found.is_open || !found.is_whole()) {
            document.fail(EXIT_CODE_DAMAGE, "not_whole", planned.path,
                          found.is_open ? trouble_text(found) : "cannot be read back");
            is_right = false;
            continue;
        }
        for (std::string const& difference : differences_from_plan(planned, found)) {
            document.fail(EXIT_CODE_DAMAGE, "not_as_planned", planned.path, difference);
            is_right = false;
        }
    }
    return is_right;
}

void tell_status(ImageIO::SavingStatus status, std::string const& path, Document& document)
{
    switch (status) {
    case ImageIO::SAVING_STATUS_SUCCESS:
        break;
    case ImageIO::SAVING_STATUS_NOTHING_TO_SAVE:
        document.fail(EXIT_CODE_NOTHING_TO_SAVE, "nothing_to_save", path, "there is nothing to save");
        break;
    case ImageIO::SAVING_STATUS_CANNOT_WRITE_FILE:
        document.fail(EXIT_CODE_CANNOT_WRITE, "cannot_write", path, "cannot be written");
        break;
    case ImageIO::SAVING_STATUS_WRITE_FAILED:
        document.fail(EXIT_CODE_WRITE_FAILED, "write_failed", path, "failed while it was written");
        break;
    }
}

}  // namespace zvio
