#include <OpenImageIO/imageio.h>

#include <array>
#include <filesystem>

#include "host/image/image_canvas.h"
#include "image_io/frame/image_io.h"
#include "image_io/load/image_header.h"
#include "image_io/load/image_load_options.h"
#include "image_io/load/image_load_report.h"
#include "image_io/plate/plate_image.h"
#include "tests/support/pictures.h"
#include "tests/torture/damage.h"
#include "tests/torture/open_files.h"
#include "tests/torture/source_pictures.h"
#include "tests/torture/sweeps.h"

namespace zv_torture {

namespace {

namespace fs = std::filesystem;

constexpr int kOptionSets = 6;
constexpr long long kVariantsAFile = 1000000;
constexpr char kRow[] = "hostile pictures";

/// The sets differ in every option that a load has.
class OptionSets {
public:
    OptionSets()
    {
        m_all[0] = {};
        m_all[1].color_space = "Linear";
        m_all[2].premultiply = true;
        m_all[2].force_alpha = true;
        m_all[3].color_space = "Linear";
        m_all[3].channels = &m_names;
        m_all[4].single_channel_mode = 3;
        m_all[4].color_space = "";
        m_all[5].single_channel_mode = 0;
        m_all[5].force_alpha = true;
        m_all[5].channels = &m_one_name;
    }
    ImageLoadOptions const& operator[](int number) const { return m_all[std::size_t(number)]; }

private:
    CoreVector<CoreString> m_names{"r", "depth.z", "b", "none", "a", "g"};
    CoreVector<CoreString> m_one_name{"y"};
    std::array<ImageLoadOptions, kOptionSets> m_all;
};

class HostileSweep : public Sweep {
public:
    void prepare(Orders const& orders, Notes&) override { make_source_pictures(orders.folder + "/sources"); }

    long long begin(Orders const& orders, Notes&) override
    {
        OIIO::attribute("limits:imagesize_MB", 512);
        m_seed = orders.seed;
        m_sources = files_in(orders.folder + "/sources");
        for (std::string& file : files_in(orders.corpus))
            m_sources.push_back(std::move(file));
        m_folder = orders.folder + "/hostile" + std::to_string(orders.worker);
        fs::create_directories(m_folder);
        return static_cast<long long>(m_sources.size()) * kVariantsAFile;
    }

    std::string describe(long long number) const override
    {
        return fs::path(source(number)).filename().string() + ", " + damage_name(damage(number)) +
               ", variant " + std::to_string(number);
    }

    void run(long long number, Notes& notes) override
    {
        int const open_files_before = count_open_files();
        std::string const path = m_folder + "/variant" + fs::path(source(number)).extension().string();
        write_variant(number, path);
        notes.count(kRow, "files");
        probe(path, notes);
        for (int set = 0; set < kOptionSets; ++set)
            load(path, m_options[set], notes);
        load_plate(path, notes);
        if (count_open_files() > open_files_before)
            notes.count(kRow, "times a library left the file open: " +
                                  fs::path(source(number)).extension().string());
    }

    int memory_megabytes() const override { return 8192; }
    bool is_parallel() const override { return true; }

private:
    std::string const& source(long long number) const
    {
        return m_sources[std::size_t(number) % m_sources.size()];
    }
    Damage damage(long long number) const
    {
        return Damage(number / static_cast<long long>(m_sources.size()) %
                      static_cast<long long>(Damage::COUNT));
    }

    void write_variant(long long number, std::string const& path) const
    {
        auto const whole = zv_test::file_bytes(source(number));
        Random random(m_seed * 1000003u + static_cast<unsigned long long>(number));
        Bytes const bytes = damaged(Bytes(whole.begin(), whole.end()), damage(number), random);
        zv_test::write_bytes(path, std::vector<char>(bytes.begin(), bytes.end()));
    }

    static void probe(std::string const& path, Notes& notes)
    {
        notes.begin_step();
        ImageHeader header;
        notes.count(kRow,
                    ImageIO::get_image_specs(path.c_str(), header) ? "headers read" : "headers refused");
        ImageIO::get_color_space_from_file(path.c_str());
    }

    static void load(std::string const& path, ImageLoadOptions const& options, Notes& notes)
    {
        notes.begin_step();
        ImageLoadReport report;
        std::unique_ptr<ImageCanvas> const canvas(ImageIO::load_image(path.c_str(), options, nullptr, nullptr,
                                                                      ImagePixel::REPEAT_MODE_CLAMP,
                                                                      ImagePixel::REPEAT_MODE_CLAMP, report));
        notes.count(kRow, !canvas               ? "loads refused"
                          : report.is_damaged() ? "loads that told of losses"
                                                : "loads without losses");
    }

    static void load_plate(std::string const& path, Notes& notes)
    {
        notes.begin_step();
        PlateImage plate(path.c_str());
        notes.count(kRow, plate.load(nullptr) ? "plates loaded" : "plates refused");
    }

    unsigned long long m_seed = 1;
    std::vector<std::string> m_sources;
    std::string m_folder;
    OptionSets m_options;
};

}  // namespace

std::unique_ptr<Sweep> make_hostile_sweep()
{
    return std::make_unique<HostileSweep>();
}

}  // namespace zv_torture
