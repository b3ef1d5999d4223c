#include <OpenImageIO/imageio.h>

#include <filesystem>

#include "host/image/image_canvas.h"
#include "image_io/frame/image_io.h"
#include "image_io/load/image_load_report.h"
#include "tests/equality/comparison.h"
#include "tests/equality/picture_matrix.h"
#include "tests/equality/save_matrix.h"
#include "tests/torture/source_pictures.h"
#include "tests/torture/sweeps.h"

namespace zv_torture {

namespace {

namespace fs = std::filesystem;
using namespace zv_equality;

constexpr char kRow[] = "equality";
// The plain road takes its time with each sample.
constexpr int kMostMegabytes = 32;
constexpr int kManyThreads = 4;

void make_matrix(std::string const& folder, std::vector<std::string> (*const make)(std::string const& folder))
{
    fs::create_directories(folder);
    make(folder);
}

std::vector<SaveOrder> all_save_orders()
{
    std::vector<SaveOrder> all;
    for (auto const make : {exr_orders, planning_orders, oiio_orders, simple_orders})
        for (SaveOrder& order : make())
            all.push_back(std::move(order));
    return all;
}

/// Whether the module loads the picture, and misses nothing of it.
bool is_whole(std::string const& path)
{
    ImageLoadReport report;
    std::unique_ptr<ImageCanvas> const canvas(ImageIO::load_image(path.c_str(), ImageLoadOptions(), nullptr,
                                                                  nullptr, ImagePixel::REPEAT_MODE_CLAMP,
                                                                  ImagePixel::REPEAT_MODE_CLAMP, report));
    return canvas && !report.is_damaged();
}

/// Tiles that are not square, as writers of IFF make them, and a JPEG 2000 file of one pixel, which its own library does not
/// read.
bool is_refused_by_rule(std::string const& name)
{
    return name.ends_with(".iff") || name == "oblong_tiles.exr" || name == "1x1_3_uint8.jp2";
}

/// Each case is a picture and a way to load or save it.
class EqualitySweep : public Sweep {
public:
    void prepare(Orders const& orders, Notes&) override
    {
        std::string const folder = orders.folder + "/whole";
        make_matrix(folder + "/exr_shapes", make_exr_shapes);
        make_matrix(folder + "/exr_compressions", make_exr_compressions);
        make_matrix(folder + "/exr_oddities", make_exr_oddities);
        make_matrix(folder + "/tiff", make_tiff_pictures);
        make_matrix(folder + "/others", make_other_formats);
    }

    long long begin(Orders const& orders, Notes&) override
    {
        OIIO::attribute("limits:imagesize_MB", kMostMegabytes);
        m_own_folder = orders.folder + "/whole/";
        m_pictures = files_in(m_own_folder);
        for (std::string& file : files_in(orders.corpus))
            m_pictures.push_back(std::move(file));
        m_loads = load_orders();
        m_saves = all_save_orders();
        m_folder = orders.folder + "/equality" + std::to_string(orders.worker);
        fs::create_directories(m_folder);
        return static_cast<long long>(m_pictures.size() * (m_loads.size() + m_saves.size()));
    }

    std::string describe(long long number) const override
    {
        std::size_t const way = way_of(number);
        return fs::path(picture(number)).filename().string() + ", " +
               (way < m_loads.size() ? m_loads[way].name : m_saves[way - m_loads.size()].name);
    }

    void run(long long number, Notes& notes) override
    {
        std::string const& path = picture(number);
        if (!is_whole(path))
            return leave_out(path, notes);
        notes.begin_step();
        std::size_t const way = way_of(number);
        ThreadCount const threads((std::size_t(number) % m_pictures.size() + way) % 2 ? 1 : kManyThreads);
        bool const is_load = way < m_loads.size();
        Differences const differences =
            is_load ? compare_load(path, m_loads[way].get()) : save(path, m_saves[way - m_loads.size()]);
        notes.count(kRow,
                    is_load ? "loads like those of the plain road" : "saves like those of the plain road",
                    differences.empty());
        if (!differences.empty())
            notes.fault("not as the plain road has it: " + describe(number) + ": " + report(differences));
    }

    int processor_seconds() const override { return 120; }
    bool is_parallel() const override { return true; }
    bool has_refused_pictures() const override { return true; }

private:
    std::string const& picture(long long number) const
    {
        return m_pictures[std::size_t(number) % m_pictures.size()];
    }
    std::size_t way_of(long long number) const { return std::size_t(number) / m_pictures.size(); }

    void leave_out(std::string const& path, Notes& notes) const
    {
        std::string const name = fs::path(path).filename().string();
        if (!path.starts_with(m_own_folder))
            notes.count(kRow,
                        "pictures left out: damaged, or above " + std::to_string(kMostMegabytes) + " MB");
        else if (!is_refused_by_rule(name))
            notes.fault("a whole picture is refused or called damaged: " + name);
        else if (Differences const differences = compare_load(path, ImageLoadOptions()); differences.empty())
            notes.count(kRow, "pictures that both roads refuse");
        else
            notes.fault("the plain road does not refuse it: " + name + ": " + report(differences));
    }

    Differences save(std::string const& path, SaveOrder const& order) const
    {
        auto const canvas = load_canvas(path, ImageLoadOptions());
        return canvas ? compare_save(*canvas, order, m_folder) : Differences{"the picture loads no more"};
    }

    std::vector<std::string> m_pictures;
    std::vector<LoadOrder> m_loads;
    std::vector<SaveOrder> m_saves;
    std::string m_folder, m_own_folder;
};

}  // namespace

std::unique_ptr<Sweep> make_equality_sweep()
{
    return std::make_unique<EqualitySweep>();
}

}  // namespace zv_torture
