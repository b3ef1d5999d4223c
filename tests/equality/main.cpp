// zv_equality [--threads N] [--kernels] FOLDER...: every picture below the folders, loaded in all ways and
// saved in all forms, against the plain road. --kernels: every float there is through the rows of halves.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "host/core/core_log_handler.h"
#include "host/image/half_rows.h"
#include "host/image/image_canvas.h"
#include "tests/equality/comparison.h"
#include "tests/equality/picture_matrix.h"
#include "tests/equality/save_matrix.h"
#include "tests/support/temp_dir.h"

namespace {

using namespace zv_equality;

/// Counts of one folder.
struct Tally {
    std::size_t pictures = 0, refused = 0, loads = 0, saves = 0, files = 0, differences = 0;

    void print(std::string const& name) const
    {
        std::printf("| %s | %zu | %zu | %zu | %zu | %zu | %zu |\n", name.c_str(), pictures, refused, loads,
                    saves, files, differences);
        std::fflush(stdout);
    }
    void add(Tally const& other)
    {
        pictures += other.pictures;
        refused += other.refused;
        loads += other.loads;
        saves += other.saves;
        files += other.files;
        differences += other.differences;
    }
};

void tell(Differences const& differences, std::string const& picture, std::string const& order, Tally& tally)
{
    if (differences.empty())
        return;
    ++tally.differences;
    std::fprintf(stderr, "%s, %s:\n%s", picture.c_str(), order.c_str(), report(differences).c_str());
}

/// One form of each road, so that a picture takes seconds and not minutes.
std::vector<SaveOrder> sweep_orders()
{
    std::vector<SaveOrder> orders;
    for (std::vector<SaveOrder> const& all : {exr_orders(), oiio_orders(), simple_orders()})
        for (std::size_t number = 0; number < all.size(); number += 5)
            orders.push_back(all[number]);
    return orders;
}

void try_picture(std::string const& picture, std::string const& save_folder, Tally& tally)
{
    ++tally.pictures;
    std::unique_ptr<ImageCanvas> canvas;
    for (LoadOrder const& order : load_orders()) {
        ++tally.loads;
        tell(compare_load(picture, order.get()), picture, order.name, tally);
        if (!canvas)
            canvas = load_canvas(picture, order.get());
    }
    if (!canvas) {
        ++tally.refused;
        return;
    }
    for (SaveOrder const& order : sweep_orders()) {
        ++tally.saves;
        tell(compare_save(*canvas, order, save_folder, &tally.files), picture, order.name, tally);
    }
}

Tally try_folder(std::string const& folder)
{
    zv_test::TempDir const saves;
    std::vector<std::string> pictures;
    for (auto const& entry : std::filesystem::recursive_directory_iterator(folder))
        if (entry.is_regular_file())
            pictures.push_back(entry.path().string());
    std::sort(pictures.begin(), pictures.end());
    Tally tally;
    for (std::string const& picture : pictures)
        try_picture(picture, saves.path().string(), tally);
    return tally;
}

/// Every float to half and back, against Imath's own conversion.
std::size_t try_kernels()
{
    constexpr std::size_t kRow = 1 << 16;
    std::vector<float> floats(kRow), back(kRow);
    std::vector<std::uint16_t> halves(kRow);
    std::size_t differences = 0;
    for (std::uint64_t first = 0; first < 1ull << 32; first += kRow) {
        for (std::size_t i = 0; i < kRow; ++i)
            floats[i] = float_of(static_cast<std::uint32_t>(first + i));
        zv_host::float_row_to_half(floats.data(), halves.data(), kRow);
        zv_host::half_row_to_float(halves.data(), back.data(), kRow);
        for (std::size_t i = 0; i < kRow; ++i)
            differences += halves[i] != float_to_half(floats[i]) ||
                           bits_of(back[i]) != bits_of(half_to_float(halves[i]));
    }
    return differences;
}

}  // namespace

int main(int argument_count, char** arguments)
{
    int threads = 0;
    std::vector<std::string> folders;
    bool kernels = false;
    for (int number = 1; number < argument_count; ++number) {
        std::string const argument = arguments[number];
        if (argument == "--threads" && number + 1 < argument_count)
            threads = std::stoi(arguments[++number]);
        else if (argument == "--kernels")
            kernels = true;
        else
            folders.push_back(argument);
    }
    if (folders.empty() && !kernels) {
        std::fprintf(stderr, "usage: zv_equality [--threads N] [--kernels] FOLDER...\n");
        return 2;
    }
    std::unique_ptr<ThreadCount> const count = threads > 0 ? std::make_unique<ThreadCount>(threads) : nullptr;
    CoreLogHandler::s_main_log_handler.m_level = 0;
    std::size_t differences = 0;
    if (kernels) {
        differences = try_kernels();
        std::printf("every float through the rows of halves: %zu differences\n", differences);
    }
    if (!folders.empty())
        std::printf("| Folder | Pictures | Refused by both | Loads | Saves | Files | Differences |\n"
                    "|---|---|---|---|---|---|---|\n");
    Tally total;
    for (std::string const& folder : folders) {
        Tally const tally = try_folder(folder);
        tally.print(std::filesystem::path(folder).filename().string());
        total.add(tally);
    }
    if (folders.size() > 1)
        total.print("all");
    return differences + total.differences == 0 ? 0 : 1;
}
