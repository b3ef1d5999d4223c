#pragma once

#include <OpenImageIO/imageio.h>

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/pictures.h"
#include "tests/support/temp_dir.h"

// A file format of our own inside OpenImageIO ("zvscript", files end in ".zvs"), whose reader and writer do
// what a test told them and note what they were asked. Scripts belong to paths, so that several files may be
// open at once, on several threads.

namespace zv_test {

/// One read that a scripted reader was asked for.
struct ReadCall {
    enum Kind { SCANLINES, TILE };
    Kind kind = SCANLINES;
    int x = 0, y = 0;                        // a tile's corner; of rows the window's x and the first row
    int end_y = 0;                           // rows only
    int first_channel = 0, end_channel = 0;  // as widened and cut by OpenImageIO
    OIIO::TypeDesc format;
    bool succeeded = false;
};

/// What a scripted reader does. The defaults read everything.
struct ReadScript {
    OIIO::ImageSpec spec;
    std::string format_name = "zvscript";  // what the reader calls itself
    bool random_access = true;
    bool opens = true;
    std::string open_error = "scripted: will not open";

    /// Samples; handed over in the format that the caller asks for.
    Sample sample = [](int channel, int x, int y) { return double(encoded(channel, x, y)); };

    /// A call that touches one of these gives false and leaves the caller's buffer alone.
    std::set<int> bad_rows;
    std::set<std::pair<int, int>> bad_samples;  // channel and row
    std::set<std::pair<int, int>> bad_tiles;    // x and y of the corner
    /// From this row on every call fails that touches it or that comes after such a call: a stream that
    /// ended.
    int ends_at_row = 1 << 30;
    /// The text of a failed call; null gives "bad row N", "bad sample C N", "bad tile X Y" of the first bad
    /// thing.
    std::function<std::string(ReadCall const&)> error;
    /// Left behind by calls that said true.
    std::string error_after_success;
    /// A good call right behind a failed one fails as well, once.
    bool echoes = false;
    /// Failing calls throw std::bad_alloc instead of giving false.
    bool throws = false;
    /// Calls with bad rows hand over the rows in front of the first bad one before they fail.
    bool keeps_rows_in_front = false;
};

/// What a scripted writer does. The defaults accept everything.
struct WriteScript {
    enum Answer { ACCEPT, REFUSE, THROW };
    Answer open = ACCEPT;
    Answer write = ACCEPT;
    Answer close = ACCEPT;
    std::string open_error = "scripted: will not open";
    std::string write_error = "scripted: will not write";
    std::string close_error = "scripted: will not close";
    bool supports_tiles = false;

    /// Calls for one of these answer as `bad_answer`, others as `write`. Rows, and corners of tiles.
    std::set<int> bad_rows;
    std::set<std::pair<int, int>> bad_tiles;
    Answer bad_answer = REFUSE;
    /// An accepted `open` creates the file, one line long.
    bool makes_file = false;
};

/// One tile as it was handed over.
struct WrittenTile {
    int x = 0, y = 0, z = 0;
    OIIO::TypeDesc format;
    OIIO::stride_t x_stride = 0, y_stride = 0, z_stride = 0;
    std::vector<float> samples;  // a whole tile, as found by the strides
};

/// What a scripted writer was asked: "open 4 by 3, 2 channels of uint8", "write_image uint8", "write_scanline
/// Y", "write_scanlines Y END, z Z, float", "write_tile X Y", "close", "destroy", in order.
struct WriteRecord {
    std::vector<std::string> calls;
    OIIO::ImageSpec spec;
    std::vector<float>
        samples;  // of write_image and write_scanlines, interleaved; 0 where nothing was written
    std::vector<WrittenTile> tiles;
};

/// A file with a script. The file exists (one line long) as long as its folder does; the script as long as
/// the object.
class ScriptedFile {
public:
    ScriptedFile(TempDir const& folder, ReadScript script, std::string const& name = "picture.zvs");
    ScriptedFile(TempDir const& folder, WriteScript script, std::string const& name = "output.zvs");
    ~ScriptedFile();
    ScriptedFile(ScriptedFile const&) = delete;
    ScriptedFile& operator=(ScriptedFile const&) = delete;

    std::string const& path() const { return m_path; }
    /// All reads since the last `clear`, in order.
    std::vector<ReadCall> reads() const;
    int opens() const;
    int closes() const;
    WriteRecord written() const;
    void clear();

    struct State;

private:
    std::string m_path;
    std::shared_ptr<State> m_state;
};

}  // namespace zv_test
