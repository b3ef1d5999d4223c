#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>

#include "host/image/image_canvas.h"
#include "host/image/image_eval_context.h"
#include "host/image/image_map.h"
#include "host/image/image_map_channel.h"
#include "image_io/frame/image_io.h"
#include "image_io/load/image_header.h"
#include "image_io/load/image_load_options.h"
#include "image_io/load/image_load_report.h"
#include "image_io/plate/plate_image.h"
#include "tests/support/pictures.h"
#include "tests/torture/damage.h"
#include "tests/torture/digest.h"
#include "tests/torture/source_pictures.h"
#include "tests/torture/sweeps.h"

namespace zv_torture {

namespace {

namespace fs = std::filesystem;

constexpr int kOptionSets = 6;
constexpr int kEvaluated = 256;   // edge of the squares that are evaluated at once
constexpr int kMostSquares = 64;  // of a channel
constexpr std::size_t kFewestSources = 90;
constexpr long long kVariantsAFile = 1000000;
constexpr char kRow[] = "hostile pictures", kCutRow[] = "loads of cut pictures",
               kCutPlateRow[] = "plates of cut pictures";

/// Between them the sets have every option that a load has, each in another mode; the repeat modes go with the number.
class OptionSets {
public:
    OptionSets()
    {
        m_all[0] = {};
        m_all[1].color_space = "Linear";
        m_all[1].single_channel_mode = 2;
        m_all[2].premultiply = true;
        m_all[2].force_alpha = true;
        m_all[2].single_channel_mode = 0;
        m_all[3].color_space = "Linear";
        m_all[3].channels = &m_names;
        m_all[4].single_channel_mode = 3;
        m_all[4].color_space = "";
        m_all[5].force_alpha = true;
        m_all[5].channels = &m_one_name;
    }
    ImageLoadOptions const& operator[](int number) const { return m_all[std::size_t(number)]; }

private:
    CoreVector<CoreString> m_names{"r", "depth.z", "b", "none", "a", "g"};
    CoreVector<CoreString> m_one_name{"y"};
    std::array<ImageLoadOptions, kOptionSets> m_all;
};

ImagePixel::RepeatMode repeat_mode(int number)
{
    constexpr ImagePixel::RepeatMode kModes[] = {
        ImagePixel::REPEAT_MODE_CLAMP, ImagePixel::REPEAT_MODE_REPEAT, ImagePixel::REPEAT_MODE_MIRROR,
        ImagePixel::REPEAT_MODE_NONE};
    return kModes[std::size_t(number) % std::size(kModes)];
}

std::unique_ptr<ImageCanvas> load_canvas(std::string const& path, ImageLoadOptions const& options, int set,
                                         ImageLoadReport& report)
{
    return std::unique_ptr<ImageCanvas>(ImageIO::load_image(path.c_str(), options, nullptr, nullptr,
                                                            repeat_mode(set), repeat_mode(set / 2), report));
}

/// What the channels give that are only computed when somebody asks: of large pictures, squares far from each other.
unsigned long long evaluate(ImageCanvas const& canvas, Notes& notes)
{
    GMathVec4<int> const window = *canvas.m_map->m_bbox;
    long long const columns = (window.width() + kEvaluated - 1ll) / kEvaluated,
                    rows = (window.height() + kEvaluated - 1ll) / kEvaluated,
                    step = std::max(1ll, columns * rows / kMostSquares);
    ImageEvalContext context(canvas, 0);
    Digest digest;
    std::vector<float> plane(std::size_t(kEvaluated) * kEvaluated);
    for (ImageMapChannel* const channel : canvas.get_map()->m_channels) {
        notes.begin_step();
        for (long long square = 0; square < columns * rows; square += step) {
            int const x = int(square % columns) * kEvaluated, y = int(square / columns) * kEvaluated;
            GMathVec4<int> const part(window.x() + x, window.y() + y,
                                      std::min(kEvaluated, window.width() - x),
                                      std::min(kEvaluated, window.height() - y));
            channel->create_float_buffer(&context, part, plane.data());
            digest.add(plane.data(), std::size_t(part.width()) * std::size_t(part.height()) * sizeof(float));
        }
    }
    return digest.value();
}

/// None of a plate that is refused.
std::optional<unsigned long long> plate_digest(std::string const& path)
{
    PlateImage plate(path.c_str());
    if (!plate.load(nullptr))
        return std::nullopt;
    Digest digest;
    digest.add(plate.get_pixels(), std::size_t(plate.get_pixel_count()) * 4 * sizeof(float));
    return digest.value();
}

class HostileSweep : public Sweep {
public:
    void prepare(Orders const& orders, Notes& notes) override
    {
        std::string const folder = orders.folder + "/sources";
        for (std::string const& name : make_source_pictures(folder))
            notes.count("pictures to damage that could not be made", name);
        std::size_t const count = files_in(folder).size();
        notes.count(kRow, "pictures made to be damaged", count);
        notes.count(kRow, "pictures given to be damaged", files_in(orders.corpus).size());
        if (count < kFewestSources)
            notes.fault("only " + std::to_string(count) + " pictures could be made to be damaged");
    }

    long long begin(Orders const& orders, Notes&) override
    {
        OIIO::attribute("limits:imagesize_MB", 512);
        m_seed = orders.seed;
        m_own_folder = orders.folder + "/sources/";
        m_sources = files_in(m_own_folder);
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
        std::string const path = m_folder + "/variant" + fs::path(source(number)).extension().string();
        write_variant(number, path);
        notes.count(kRow, "files");
        probe(path, notes);
        for (int set = 0; set < kOptionSets; ++set)
            load(path, number, set, notes);
        load_plate(path, number, notes);
    }

    bool is_parallel() const override { return true; }
    bool has_refused_pictures() const override { return true; }

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

    void load(std::string const& path, long long number, int set, Notes& notes)
    {
        notes.begin_step();
        ImageLoadReport report;
        auto const canvas = load_canvas(path, m_options[set], set, report);
        unsigned long long const digest = canvas ? evaluate(*canvas, notes) : 0;
        notes.count(kRow, !canvas               ? "loads refused"
                          : report.is_damaged() ? "loads that told of losses"
                                                : "loads without losses");
        if (!tells_cuts(number))
            return;
        if (!canvas || report.is_damaged())
            notes.count(kCutRow, "refused, or losses told");
        else if (digest == whole_digest(number, set, notes))
            notes.count(kCutRow, "loaded, all samples there");
        else
            notes.fault("a cut file is called whole, with options " + std::to_string(set) + "  [" +
                        notes.what + "]");
    }

    /// Whether nothing of the samples may be missing without a word: of the pictures made here only the reader of zfile has
    /// none for the end of its file.
    bool tells_cuts(long long number) const
    {
        Damage const kind = damage(number);
        return (kind == Damage::CUT || kind == Damage::CUT_HEADER) &&
               source(number).starts_with(m_own_folder) && fs::path(source(number)).extension() != ".zfile";
    }

    /// Of the picture as it was.
    unsigned long long whole_digest(long long number, int set, Notes& notes)
    {
        auto const [found, is_new] = m_whole_digests.try_emplace({source(number), set});
        if (is_new) {
            ImageLoadReport report;
            auto const canvas = load_canvas(source(number), m_options[set], set, report);
            found->second = canvas ? evaluate(*canvas, notes) : 0;
        }
        return found->second;
    }

    void load_plate(std::string const& path, long long number, Notes& notes)
    {
        notes.begin_step();
        std::optional<unsigned long long> const digest = plate_digest(path);
        notes.count(kRow, digest ? "plates loaded" : "plates refused");
        if (!tells_cuts(number))
            return;
        if (!digest)
            notes.count(kCutPlateRow, "refused");
        else if (digest == whole_plate_digest(number))
            notes.count(kCutPlateRow, "loaded, all samples there");
        else if (calls_cut_files_good(fs::path(source(number)).extension().string()))
            notes.count(kCutPlateRow, "loaded, as far as a reader goes that calls that good");
        else
            notes.fault(std::string("a plate of a cut file is called whole  [") + notes.what + "]");
    }

    /// Readers that leave a text behind, and give what is there: a load tells of it, a plate shows it.
    static bool calls_cut_files_good(std::string const& extension)
    {
        return extension == ".tif" || extension == ".tx" || extension == ".jpg" || extension == ".iff";
    }

    /// Of the picture as it was.
    std::optional<unsigned long long> whole_plate_digest(long long number)
    {
        auto const [found, is_new] = m_whole_plate_digests.try_emplace(source(number));
        if (is_new)
            found->second = plate_digest(source(number));
        return found->second;
    }

    unsigned long long m_seed = 1;
    std::vector<std::string> m_sources;
    std::string m_folder, m_own_folder;
    std::map<std::pair<std::string, int>, unsigned long long> m_whole_digests;
    std::map<std::string, std::optional<unsigned long long>> m_whole_plate_digests;
    OptionSets m_options;
};

}  // namespace

std::unique_ptr<Sweep> make_hostile_sweep()
{
    return std::make_unique<HostileSweep>();
}

}  // namespace zv_torture
