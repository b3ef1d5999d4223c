#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <random>
#include <sstream>
#include <thread>

#include "image_io/frame/image_io.h"
#include "image_io/texture/image_io_texture_stream.h"
#include "tools/command_line.h"
#include "tools/commands.h"
#include "tools/text_table.h"

namespace zvio {

namespace {

struct TextureRequest {
    std::string path;
    std::vector<std::string> places;  // "u,v"
    int mip = 3, interp = 3;
    std::string wrap = "periodic,periodic";
    double blur = 0.0;
    std::vector<int> channels;        // empty: the first four
    std::vector<double> derivatives;  // dudx, dudy, dvdx, dvdy
    std::string grid, output;
    double bench_seconds = 0.0;
    double cache_megabytes = 0.0;  // 0: as it is
    int statistics_level = 0;
};

/// The names that OpenImageIO has for its wraps, by number.
constexpr char const* kWraps[] = {
    "default", "black", "clamp", "periodic", "mirror", "periodic_pow2", "periodic_sharedborder"};

int wrap_number(std::string const& text)
{
    for (int number = 0; number < int(std::size(kWraps)); ++number)
        if (text == kWraps[number] || text == std::to_string(number))
            return number;
    throw CommandError(EXIT_CODE_USAGE, "\"" + text + "\" is no wrap");
}

struct Wraps {
    int s, t;
};

Wraps parse_wraps(std::string const& text)
{
    auto const comma = text.find(',');
    std::string const first = text.substr(0, comma);
    return {wrap_number(first), wrap_number(comma == std::string::npos ? first : text.substr(comma + 1))};
}

/// Two numbers with a separator between them and nothing behind.
template <class Number>
std::pair<Number, Number> parse_pair(std::string const& text, char separator, char const* what)
{
    std::istringstream stream(text);
    Number first{}, second{};
    char between = 0;
    if (!(stream >> first >> between >> second) || between != separator || stream.peek() != EOF)
        throw CommandError(EXIT_CODE_USAGE, "\"" + text + "\" is no " + what);
    return {first, second};
}

/// Lookups in one texture, as the request has them.
class Lookups {
public:
    explicit Lookups(TextureRequest const& request)
        : m_request(request)
        , m_name(request.path)
        , m_wraps(parse_wraps(request.wrap))
        , m_channels(request.channels)
        , m_stream(*ImageIOTextureStream::get_texture_stream())
    {
        if (!request.derivatives.empty() && request.derivatives.size() != 4)
            throw CommandError(EXIT_CODE_USAGE, "--derivatives takes four numbers: dudx,dudy,dvdx,dvdy");
    }

    std::size_t channel_count() const { return m_channels.empty() ? 4 : m_channels.size(); }

    /// `result` has room for at least four floats.
    bool read(double u, double v, float* result)
    {
        MapEvalCtx ctx;
        ctx.u = u;
        ctx.v = v;
        if (!m_request.derivatives.empty()) {
            ctx.dudx = m_request.derivatives[0];
            ctx.dudy = m_request.derivatives[1];
            ctx.dvdx = m_request.derivatives[2];
            ctx.dvdy = m_request.derivatives[3];
        }
        ctx.blur = m_request.blur;
        ctx.channels = m_channels.empty() ? nullptr : m_channels.data();
        ctx.channel_count = static_cast<unsigned int>(m_channels.size());
        return m_stream.evaluate(m_name, ctx, m_wraps.s, m_wraps.t, m_request.interp, m_request.mip, result);
    }

    GMathVec2<int> size() const { return m_stream.get_image_size(m_name); }

private:
    TextureRequest const& m_request;
    UniqueString m_name;
    Wraps m_wraps;
    std::vector<int> m_channels;
    ImageIOTextureStream& m_stream;
};

Json look_up_places(TextureRequest const& request, Lookups& lookups, Document& document)
{
    Json results = Json::array();
    TextTable table(0);
    for (std::string const& place : request.places) {
        auto const [u, v] = parse_pair<double>(place, ',', "place like 0.1,-0.2");
        std::vector<float> values(std::max<std::size_t>(4, lookups.channel_count()));
        bool const is_read = lookups.read(u, v, values.data());
        values.resize(lookups.channel_count());
        std::vector<std::string> row = {place};
        for (float const value : values)
            row.push_back(number_text(value));
        table.add(row);
        results.push_back({{"u", u}, {"v", v}, {"ok", is_read}, {"values", values}});
        if (!is_read)
            document.fail(EXIT_CODE_INPUT, "lookup_failed", request.path,
                          "the lookup at " + place + " failed");
    }
    document.print(table.text());
    return results;
}

/// A picture of the whole texture, one lookup a pixel, each as wide as its pixel unless derivatives are given.
Json render_grid(TextureRequest request, Document& document)
{
    auto const [width, height] = parse_pair<int>(request.grid, 'x', "size like 256x128");
    if (width < 1 || height < 1 || width > 32768 || height > 32768)
        throw CommandError(EXIT_CODE_USAGE, "a grid has 1 to 32768 lookups an edge");
    if (request.derivatives.empty())
        request.derivatives = {1.0 / width, 0.0, 0.0, -1.0 / height};
    Lookups lookups(request);
    std::size_t const channels = lookups.channel_count();
    std::vector<float> pixels(std::size_t(width) * std::size_t(height) * channels +
                              4);  // a lookup may fill four
    unsigned long long failures = 0;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            failures +=
                !lookups.read((x + 0.5) / width - 0.5, 0.5 - (y + 0.5) / height,
                              &pixels[(std::size_t(y) * std::size_t(width) + std::size_t(x)) * channels]);
    if (failures)
        document.fail(EXIT_CODE_INPUT, "lookup_failed", request.path,
                      count_text(failures, "lookup") + " failed");
    bool const is_written = ImageIO::save_image(request.output.c_str(), pixels.data(), unsigned(channels),
                                                unsigned(width), unsigned(height));
    if (!is_written)
        document.fail(EXIT_CODE_CANNOT_WRITE, "not_written", request.output, "the file could not be written");
    else
        document.print("wrote " + request.output + "\n");
    return {{"output", request.output},
            {"ok", is_written && failures == 0},
            {"width", width},
            {"height", height},
            {"failures", failures}};
}

/// Random lookups on every thread for some seconds.
Json measure(TextureRequest const& request, int threads, Document& document)
{
    using Steady = std::chrono::steady_clock;
    std::atomic<unsigned long long> total = 0, failures = 0;
    auto const start = Steady::now();
    auto const end = start + std::chrono::duration<double>(request.bench_seconds);
    auto const work = [&](unsigned int seed) {
        Lookups lookups(request);
        std::mt19937 random(seed);
        std::uniform_real_distribution<double> anywhere(-0.5, 0.5);
        std::vector<float> result(std::max<std::size_t>(4, lookups.channel_count()));
        unsigned long long done = 0, failed = 0;
        while (Steady::now() < end)
            for (int burst = 0; burst < 256; ++burst, ++done)
                failed += !lookups.read(anywhere(random), anywhere(random), result.data());
        total += done;
        failures += failed;
    };
    {
        std::vector<std::jthread> others;
        for (int index = 1; index < threads; ++index)
            others.emplace_back(work, index);
        work(0);
    }
    double const seconds = std::chrono::duration<double>(Steady::now() - start).count();
    double const rate = double(total) / seconds;
    document.print(count_text(total, "lookup") + " on " + count_text(unsigned(threads), "thread") + ", " +
                   number_text(rate / 1e6) + " million a second\n");
    if (failures)
        document.fail(EXIT_CODE_INPUT, "lookup_failed", request.path,
                      count_text(failures, "lookup") + " failed");
    return {{"lookups", total.load()},
            {"failures", failures.load()},
            {"seconds", seconds},
            {"per_second", rate},
            {"threads", threads}};
}

Json memory_json()
{
    ImageIOTextureStream& stream = *ImageIOTextureStream::get_texture_stream();
    return {{"limit_megabytes", ImageIOTextureStream::get_cache_size()},
            {"memory_bytes", stream.get_memory_size()}};
}

void run_texture(TextureRequest const& request, Settings const& settings, Document& document)
{
    if (request.cache_megabytes > 0.0)
        ImageIOTextureStream::set_cache_size(request.cache_megabytes);
    Lookups lookups(request);
    GMathVec2<int> const size = lookups.size();
    if (size.x < 1)
        throw CommandError(EXIT_CODE_INPUT, "\"" + request.path + "\" cannot be read as a texture");
    document.print(request.path + "  " + std::to_string(size.x) + " x " + std::to_string(size.y) + "\n");
    Json& result = document.result();
    result = {{"path", request.path}, {"width", size.x}, {"height", size.y}};
    result["lookups"] = look_up_places(request, lookups, document);
    if (!request.grid.empty())
        result["grid"] = render_grid(request, document);
    if (request.bench_seconds > 0.0)
        result["bench"] = measure(request, std::max(1, settings.threads), document);
    result["cache"] = memory_json();
    if (request.statistics_level > 0) {
        CoreString const statistics =
            ImageIOTextureStream::get_texture_stream()->get_stats(request.statistics_level);
        result["statistics"] = statistics.get_data();
        document.print(std::string(statistics.get_data()) + "\n");
    }
    ImageIOTextureStream::destroy();
}

void add_lookup_options(CLI::App& command, TextureRequest& request)
{
    command.add_option("FILE", request.path, "A picture file, best a tiled one with mip levels")
        ->required()
        ->type_name("");
    command.add_option("PLACE", request.places, "Places to look up, as u,v: 0,0 is the centre, v goes up")
        ->type_name("");
    command
        .add_option("--mip", request.mip,
                    "0 the library's choice, 1 none, 2 one level, 3 trilinear (default), 4 anisotropic")
        ->check(CLI::Range(0, 4).description(""))
        ->type_name("0..4");
    command
        .add_option("--interp", request.interp, "0 closest, 1 bilinear, 2 bicubic, 3 smart bicubic (default)")
        ->check(CLI::Range(0, 3).description(""))
        ->type_name("0..3");
    command
        .add_option("--wrap", request.wrap,
                    "default, black, clamp, periodic (default), mirror, periodic_pow2, periodic_sharedborder")
        ->type_name("S[,T]");
    command.add_option("--blur", request.blur, "Width of the blur, as a share of the picture")
        ->type_name("W");
    command.add_option("--channels", request.channels, "Numbers of the channels (default: the first four)")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->type_name("N,...");
    command.add_option("--derivatives", request.derivatives, "dudx,dudy,dvdx,dvdy")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->type_name("D,...");
}

}  // namespace

void add_texture_command(CLI::App& app, CommandLine& line)
{
    auto const request = std::make_shared<TextureRequest>();
    CLI::App& command =
        add_command(app, line, "texture", "Look a texture up",
                    [request, &line](Document& document) { run_texture(*request, line.settings, document); });
    add_lookup_options(command, *request);
    CLI::Option* const grid =
        command.add_option("--grid", request->grid, "Look up a whole picture of this size")->type_name("WxH");
    CLI::Option* const output =
        command.add_option("-o,--output", request->output, "The file for --grid; its name tells the format")
            ->type_name("OUT");
    grid->needs(output);
    output->needs(grid);
    command.add_option("--bench", request->bench_seconds, "Measure random lookups, on --threads threads")
        ->check(CLI::Range(0.01, 3600.0).description(""))
        ->type_name("SECONDS");
    command.add_option("--cache", request->cache_megabytes, "The limit of the texture cache")
        ->check(CLI::Range(1.0, 1e6).description(""))
        ->type_name("MB");
    command.add_option("--stats", request->statistics_level, "Print OpenImageIO's statistics")
        ->check(CLI::Range(1, 5).description(""))
        ->type_name("LEVEL");
}

}  // namespace zvio
