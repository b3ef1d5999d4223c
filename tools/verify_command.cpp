#include <filesystem>

#include "tools/command_line.h"
#include "tools/commands.h"
#include "tools/text_table.h"
#include "tools/verification.h"

namespace zvio {

namespace {

Json verification_json(std::string const& path, Verification const& verification)
{
    Json channels = Json::array(), rows = Json::array();
    for (VerifiedChannel const& channel : verification.channels)
        channels.push_back({{"name", channel.name},
                            {"type", channel.type},
                            {"nan", channel.nan_count},
                            {"inf", channel.infinity_count}});
    for (RowRange const& range : verification.missing_rows)
        rows.push_back({{"first", range.first}, {"last", range.last}});
    StoredHeader const& header = verification.header;
    return {{"path", path},
            {"ok", verification.is_whole()},
            {"complete", verification.is_complete},
            {"format", header.format},
            {"data_window", window_json(header.data_window)},
            {"display_window", window_json(header.display_window)},
            {"tiled", header.tile_width != 0},
            {"rows_asked", verification.rows_asked},
            {"rows_missing", verification.rows_missing},
            {"missing_rows", rows},
            {"tiles_asked", verification.tiles_asked},
            {"tiles_missing", verification.tiles_missing},
            {"channels", channels},
            {"errors", verification.errors}};
}

std::string verification_text(std::string const& path, Verification const& verification)
{
    std::string text = path + "  ";
    if (!verification.is_whole())
        return text + "damaged: " + trouble_text(verification) + "\n";
    text += "whole: " + count_text(verification.channels.size(), "channel") + ", ";
    return text +
           (verification.tiles_asked ? count_text(verification.tiles_asked, "tile")
                                     : count_text(verification.rows_asked, "row")) +
           "\n";
}

void tell_wild_samples(std::string const& path, Verification const& verification, Settings const& settings,
                       Document& document)
{
    std::uint64_t const nans = verification.nan_count(), infinities = verification.infinity_count();
    if (nans + infinities == 0)
        return;
    std::string text =
        std::to_string(nans) + " NaN and " + std::to_string(infinities) + " infinite samples in";
    for (VerifiedChannel const& channel : verification.channels)
        if (channel.nan_count + channel.infinity_count)
            text += " " + channel.name;
    if (settings.strict)
        document.fail(EXIT_CODE_DAMAGE, "not_finite", path, text);
    else
        document.warn("not_finite", path, text);
}

Json run_one(std::string const& path, Settings const& settings, Document& document)
{
    std::error_code ignored;
    if (!std::filesystem::exists(path, ignored)) {
        document.fail(EXIT_CODE_INPUT, "missing", path, "no such file");
        return {{"path", path}, {"ok", false}};
    }
    Verification const verification = verify_file(path);
    if (!verification.is_open) {
        document.fail(EXIT_CODE_INPUT, "unreadable", path, "cannot be read");
        return {{"path", path}, {"ok", false}, {"errors", verification.errors}};
    }
    if (!verification.is_whole())
        document.fail(EXIT_CODE_DAMAGE, verification.is_complete ? "damaged" : "incomplete", path,
                      trouble_text(verification));
    tell_wild_samples(path, verification, settings, document);
    document.print(verification_text(path, verification));
    return verification_json(path, verification);
}

}  // namespace

void add_verify_command(CLI::App& app, CommandLine& line)
{
    auto const paths = std::make_shared<std::vector<std::string>>();
    CLI::App& command = add_command(app, line, "verify", "Read back all that is in files",
                                    [paths, &settings = line.settings](Document& document) {
                                        Json files = Json::array();
                                        for (std::string const& path : *paths)
                                            files.push_back(run_one(path, settings, document));
                                        document.result() = {{"files", files}};
                                    });
    command.add_option("FILE", *paths, "Picture files")->required()->type_name("");
}

}  // namespace zvio
