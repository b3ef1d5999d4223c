#include "tools/file_sequence.h"

#include <glob.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <limits>
#include <optional>
#include <set>

#include "image_io/format/image_io_file_format.h"
#include "tools/settings.h"
#include "tools/stored_picture.h"

namespace zvio {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMaximumFrames = 1000000;

[[noreturn]] void refuse(std::string const& text)
{
    throw CommandError(EXIT_CODE_USAGE, text);
}

[[noreturn]] void refuse_frames(std::string const& text)
{
    refuse("\"" + text + "\" are no frames, such as 1-10x2,15");
}

/// Takes a number from the front of the text.
std::optional<int> take_number(std::string_view& text)
{
    int number = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || number < 0)
        return {};
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return number;
}

bool take(std::string_view& text, char letter)
{
    if (text.empty() || text.front() != letter)
        return false;
    text.remove_prefix(1);
    return true;
}

/// One input file, and its frame where it has one.
struct InputFile {
    std::string path;
    std::optional<int> frame;
};

bool is_readable_picture(fs::path const& path)
{
    std::string extension = lower_case(path.extension().string());
    return extension.size() > 1 && ImageIOFileFormat::is_extension_valid(extension.c_str() + 1);
}

std::vector<InputFile> files_of_folder(std::string const& folder)
{
    std::vector<InputFile> files;
    for (fs::directory_entry const& entry : fs::directory_iterator(folder))
        if (entry.is_regular_file() && is_readable_picture(entry.path()))
            files.push_back({entry.path().string(), {}});
    std::sort(files.begin(), files.end(), [](auto const& a, auto const& b) { return a.path < b.path; });
    if (files.empty())
        refuse("there are no pictures in \"" + folder + "\"");
    return files;
}

std::vector<InputFile> files_of_pattern(std::string const& pattern)
{
    glob_t found = {};
    std::vector<InputFile> files;
    if (glob(pattern.c_str(), 0, nullptr, &found) == 0)
        for (std::size_t index = 0; index < found.gl_pathc; ++index)
            files.push_back({found.gl_pathv[index], {}});
    globfree(&found);
    if (files.empty())
        refuse("no file is like \"" + pattern + "\"");
    return files;
}

std::vector<InputFile> files_of_sequence(NumberedName const& name, std::string const& input,
                                         std::string const& frames)
{
    std::vector<InputFile> files;
    for (int const frame : frames.empty() ? name.find_frames() : parse_frames(frames))
        files.push_back({name.path(frame), frame});
    if (files.empty())
        refuse("no file is like \"" + input + "\"");
    return files;
}

std::vector<InputFile> files_of(std::string const& input, std::string const& frames)
{
    if (fs::is_directory(input))
        return files_of_folder(input);
    if (fs::exists(input))
        return {{input, {}}};
    if (NumberedName const name(input); name.has_number())
        return files_of_sequence(name, input, frames);
    if (input.find_first_of("*?") != std::string::npos)
        return files_of_pattern(input);
    return {{input, {}}};
}

/// The last number in a file's name: what its frame is taken to be.
std::optional<int> last_number(std::string const& path)
{
    std::string const name = fs::path(path).stem().string();
    auto const is_digit = [](char letter) { return letter >= '0' && letter <= '9'; };
    auto const end = std::find_if(name.rbegin(), name.rend(), is_digit).base();
    auto begin = end;
    while (begin != name.begin() && is_digit(*(begin - 1)))
        --begin;
    std::string_view digits(&*begin, static_cast<std::size_t>(end - begin));
    return end == begin ? std::nullopt : take_number(digits);
}

std::string output_of(InputFile const& input, std::string const& output,
                      std::function<std::string(std::string const& input)> const& folder_extension)
{
    if (fs::is_directory(output) || output.ends_with('/'))
        return (fs::path(output) / fs::path(input.path).stem()).string() + "." + folder_extension(input.path);
    NumberedName const name(output);
    if (!name.has_number())
        return output;
    auto const frame = input.frame ? input.frame : last_number(input.path);
    if (!frame)
        refuse("\"" + input.path + "\" has no frame number for \"" + output + "\"");
    return name.path(*frame);
}

}  // namespace

std::vector<int> parse_frames(std::string const& text)
{
    std::vector<int> frames;
    std::string_view rest = text;
    do {
        auto const first = take_number(rest);
        auto const last = take(rest, '-') ? take_number(rest) : first;
        auto const step = take(rest, 'x') ? take_number(rest) : 1;
        if (!first || !last || !step || *step < 1 || *last < *first ||
            std::size_t(*last - *first) / *step + frames.size() >= kMaximumFrames)
            refuse_frames(text);
        for (long frame = *first; frame <= *last; frame += *step)
            frames.push_back(static_cast<int>(frame));
    } while (take(rest, ','));
    if (!rest.empty())
        refuse_frames(text);
    return frames;
}

NumberedName::NumberedName(std::string const& path)
{
    std::size_t const name = path.rfind('/') == std::string::npos ? 0 : path.rfind('/') + 1;
    std::size_t const first = path.find('#', name);
    if (first == std::string::npos)
        return;
    std::size_t const end = std::min(path.find_first_not_of('#', first), path.size());
    m_front = path.substr(0, first);
    m_width = end - first;
    m_back = path.substr(end);
}

std::string NumberedName::path(int frame) const
{
    std::string digits = std::to_string(frame);
    if (digits.size() < m_width)
        digits.insert(0, m_width - digits.size(), '0');
    return m_front + digits + m_back;
}

std::vector<int> NumberedName::find_frames() const
{
    std::set<int> frames;
    fs::path const folder = fs::path(m_front + "x").parent_path();
    std::error_code ignored;
    for (fs::directory_entry const& entry :
         fs::directory_iterator(folder.empty() ? fs::path(".") : folder, ignored)) {
        std::string const name = (folder / entry.path().filename()).string();
        if (name.size() < m_front.size() + m_width + m_back.size() || !name.starts_with(m_front) ||
            !name.ends_with(m_back))
            continue;
        std::string_view digits(name);
        digits = digits.substr(m_front.size(), name.size() - m_front.size() - m_back.size());
        auto const frame = take_number(digits);
        if (frame && digits.empty() && path(*frame) == name)
            frames.insert(*frame);
    }
    return {frames.begin(), frames.end()};
}

std::vector<FilePair> pair_files(std::vector<std::string> const& inputs, std::string const& output,
                                 std::string const& frames,
                                 std::function<std::string(std::string const& input)> const& folder_extension)
{
    std::vector<FilePair> pairs;
    std::set<std::string> outputs;
    bool has_numbered_input = false;
    for (std::string const& input : inputs)
        for (InputFile const& file : files_of(input, frames)) {
            has_numbered_input |= file.frame.has_value();
            std::string const path = output_of(file, output, folder_extension);
            std::error_code ignored;
            if (fs::equivalent(file.path, path, ignored))
                refuse("\"" + path + "\" would be written over itself");
            if (!outputs.insert(path).second)
                refuse("more than one file would be written to \"" + path + "\"");
            pairs.push_back({file.path, path});
        }
    if (!frames.empty() && !has_numbered_input)
        refuse("--frames " + frames + " takes a numbered input, such as shot.####.exr");
    return pairs;
}

}  // namespace zvio
