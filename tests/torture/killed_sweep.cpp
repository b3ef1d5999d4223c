#include <signal.h>

#include <filesystem>

#include "tests/torture/exr_cells.h"
#include "tests/torture/run_program.h"
#include "tests/torture/sweeps.h"

namespace zv_torture {

namespace {

namespace fs = std::filesystem;

constexpr int kWidth = 130, kHeight = 140, kTile = 64, kBandLines = 16;
constexpr int kBands = (kHeight + kBandLines - 1) / kBandLines;
constexpr int kTiles = ((kWidth + kTile - 1) / kTile) * ((kHeight + kTile - 1) / kTile);

struct Compression {
    char const* name;
    int lines;            // of a block
    float tolerance = 0;  // of what was read and is written once more
};
constexpr float kDwaTolerance = 0.02f;
constexpr Compression kCompressions[] = {{"none", 1},
                                         {"rle", 1},
                                         {"zips", 1},
                                         {"zip", 16},
                                         {"pxr24", 16},
                                         {"piz", 32},
                                         {"b44", 32},
                                         {"b44a", 32},
                                         {"dwaa", 32, kDwaTolerance},
                                         {"dwab", 256, kDwaTolerance}};
constexpr long long kCompressionCount = std::size(kCompressions);

/// One kill: behind how many buckets, of which kind of file.
struct Kill {
    Compression compression;
    bool is_tiled = false;
    int buckets = 0;
};

Kill kill_of(long long number)
{
    Kill kill;
    kill.compression = kCompressions[number % kCompressionCount];
    long long const bucket = number / kCompressionCount;
    kill.is_tiled = bucket >= kBands;
    kill.buckets = int(kill.is_tiled ? bucket - kBands : bucket) + 1;
    return kill;
}

int render(std::string const& path, Kill const& kill, std::vector<std::string> const& more)
{
    std::vector<std::string> words = {ZVIO_PATH,
                                      "render",
                                      "-o",
                                      path,
                                      "--size",
                                      std::to_string(kWidth) + "x" + std::to_string(kHeight),
                                      "--aovs",
                                      "2",
                                      "--compression",
                                      kill.compression.name};
    if (!kill.is_tiled)
        words.insert(words.end(),
                     {"--scanline", "--bucket", std::to_string(kWidth) + "x" + std::to_string(kBandLines)});
    words.insert(words.end(), more.begin(), more.end());
    return run_program(words);
}

class KilledSweep : public Sweep {
public:
    long long begin(Orders const& orders, Notes&) override
    {
        m_folder = orders.folder + "/killed";
        fs::create_directories(m_folder);
        m_path = m_folder + "/killed" + std::to_string(orders.worker) + ".exr";
        return (kBands + kTiles) * kCompressionCount;
    }

    std::string describe(long long number) const override
    {
        Kill const kill = kill_of(number);
        return std::string(kill.compression.name) + (kill.is_tiled ? " tiles" : " lines") +
               ", killed behind bucket " + std::to_string(kill.buckets);
    }

    void run(long long number, Notes& notes) override
    {
        Kill const kill = kill_of(number);
        fs::remove(m_path);
        if (!make_whole(kill))
            return notes.fault(std::string("an undisturbed render fails  [") + notes.what + "]");
        notes.begin_step();
        if (int const end = render(m_path, kill, {"--kill-after", std::to_string(kill.buckets)});
            end != 128 + SIGKILL)
            return notes.fault("the render was not killed, but ended with " + std::to_string(end) + "  [" +
                               notes.what + "]");
        notes.begin_step();
        check_cells(kill, m_path, notes);
        if (int const end = render(m_path, kill, {"--resume"}); end != 0)
            return notes.fault("cannot be resumed: ended with " + std::to_string(end) + "  [" + notes.what +
                               "]");
        notes.begin_step();
        std::string const difference =
            compare_pictures(m_path, whole_path(m_folder, kill), kill.compression.tolerance);
        if (difference.empty())
            notes.count(row(kill), kill.compression.tolerance > 0
                                       ? "taken up again, near the pixels of an undisturbed render"
                                       : "taken up again, to the pixels of an undisturbed render");
        else
            notes.fault("the resumed picture differs: " + difference + "  [" + notes.what + "]");
    }

    int cases_a_process() const override { return 20; }
    bool is_parallel() const override { return true; }

private:
    static std::string row(Kill const& kill)
    {
        return std::string("killed render: ") + kill.compression.name + (kill.is_tiled ? " tiles" : " lines");
    }

    static std::string whole_path(std::string const& folder, Kill const& kill)
    {
        return folder + "/whole_" + kill.compression.name + (kill.is_tiled ? "_tiles" : "_lines") + ".exr";
    }

    /// The undisturbed render, once for all processes.
    bool make_whole(Kill const& kill) const
    {
        std::string const path = whole_path(m_folder, kill);
        if (fs::exists(path))
            return true;
        if (render(m_path, kill, {}) != 0)
            return false;
        fs::rename(m_path, path);
        return true;
    }

    /// Finished lines in whole blocks, and all tiles, which came in the order of the file.
    void check_cells(Kill const& kill, std::string const& path, Notes& notes) const
    {
        Cells const cells = compare_cells(path, whole_path(m_folder, kill), kill.is_tiled);
        int const lines = std::min(kHeight, kill.buckets * kBandLines);
        int const wanted = kill.is_tiled      ? kill.buckets
                           : lines == kHeight ? kHeight
                                              : lines / kill.compression.lines * kill.compression.lines;
        if (!cells.trouble.empty())
            notes.fault("the file does not open: " + cells.trouble + "  [" + notes.what + "]");
        else if (cells.wrong > 0 || cells.right_from_start < wanted)
            notes.fault(std::to_string(cells.right_from_start) + " of " + std::to_string(wanted) +
                        " right, " + std::to_string(cells.wrong) + " wrong  [" + notes.what + "]");
        else
            notes.count(row(kill), "opened, all that was finished is right");
    }

    std::string m_folder, m_path;
};

}  // namespace

std::unique_ptr<Sweep> make_killed_sweep()
{
    return std::make_unique<KilledSweep>();
}

}  // namespace zv_torture
