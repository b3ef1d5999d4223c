#pragma once

#include <functional>
#include <string>
#include <vector>

namespace zvio {

/// "1-10x2,15": 1, 3, 5, 7, 9, 15. Throws CommandError for anything else.
std::vector<int> parse_frames(std::string const& text);

/// A file name with a run of "#" in it, which stands for a frame number of at least so many digits.
class NumberedName {
public:
    explicit NumberedName(std::string const& path);

    [[nodiscard]] bool has_number() const { return m_width > 0; }
    [[nodiscard]] std::string path(int frame) const;
    /// The frames of which there are files, in order.
    [[nodiscard]] std::vector<int> find_frames() const;

private:
    std::string m_front, m_back;
    std::size_t m_width = 0;
};

/// One file to make of another.
struct FilePair {
    std::string input, output;
};

/// What the inputs of a command line come to: files, numbered sequences, patterns with * and ?, and folders (all pictures in
/// them that can be read). A sequence takes `frames` or, without any, the frames that there are; frames without a
/// sequence are refused.
///
/// The output is a file, a numbered name, or a folder, into which files go under the name of their input and the
/// extension that `folder_extension` gives for it. Throws CommandError where inputs and output do not fit together.
std::vector<FilePair>
pair_files(std::vector<std::string> const& inputs, std::string const& output, std::string const& frames,
           std::function<std::string(std::string const& input)> const& folder_extension);

}  // namespace zvio
