#include "image_io/texture/texture_lookup.h"

#include <OpenImageIO/imageio.h>
#include <OpenImageIO/texture.h>

#include <algorithm>
#include <cmath>

namespace zv_image_io {

namespace {

using OIIO::TextureOpt;

constexpr float kFill = 1.0f;

TextureOpt::MipMode mip_mode(int mip)
{
    switch (mip) {
    case 0:
        return TextureOpt::MipModeDefault;
    case 1:
        return TextureOpt::MipModeNoMIP;
    case 2:
        return TextureOpt::MipModeOneLevel;
    case 4:
        return TextureOpt::MipModeAniso;
    default:
        return TextureOpt::MipModeTrilinear;
    }
}

TextureOpt::InterpMode interp_mode(int interp)
{
    switch (interp) {
    case 0:
        return TextureOpt::InterpClosest;
    case 1:
        return TextureOpt::InterpBilinear;
    case 2:
        return TextureOpt::InterpBicubic;
    default:
        return TextureOpt::InterpSmartBicubic;
    }
}

/// The library indexes a table with it.
bool is_wrap(int wrap)
{
    return wrap >= 0 && wrap < TextureOpt::WrapLast;
}

/// The variant for sizes that are powers of two ends the process at all others; for those the plain one gives the same.
TextureOpt::Wrap wrap_mode(int wrap)
{
    return wrap == TextureOpt::WrapPeriodicPow2 ? TextureOpt::WrapPeriodic
                                                : static_cast<TextureOpt::Wrap>(wrap);
}

/// OpenImageIO refuses files with more channels, and counts channels in 16 bits.
long long channel_limit()
{
    static int const limit = [] {
        int value = 0;
        return OIIO::getattribute("limits:channels", value) && value > 0 ? value : 1024;
    }();
    return limit;
}

/// Where the library is to look, in its own terms: (0, 0) at the upper left corner, t downwards.
struct Footprint {
    explicit Footprint(MapEvalCtx const& ctx)
        : s(static_cast<float>(ctx.u + 0.5))
        , t(static_cast<float>(0.5 - ctx.v))
        , dsdx(static_cast<float>(ctx.dudx))
        , dtdx(static_cast<float>(-ctx.dvdx))
        , dsdy(static_cast<float>(ctx.dudy))
        , dtdy(static_cast<float>(-ctx.dvdy))
        , blur(static_cast<float>(ctx.blur))
    {
    }

    /// The difference of a number with itself is 0, unless it is not finite.
    bool is_finite() const
    {
        float const sum =
            (s - s) + (t - t) + (dsdx - dsdx) + (dtdx - dtdx) + (dsdy - dsdy) + (dtdy - dtdy) + (blur - blur);
        return sum == 0.0f;
    }

    float s, t, dsdx, dtdx, dsdy, dtdy, blur;
};

/// Only the first four are looked at; longer lists go on as they like.
bool is_consecutive(int const* channels, unsigned int count)
{
    long long const first = channels[0];  // read even where no channel is asked for
    for (unsigned int index = 1; index < std::min(count, 4u); ++index)
        if (channels[index] != first + index)
            return false;
    return true;
}

/// What the library keeps for the calling thread. Finding it costs as much as a fifth of a lookup, and it stays what it
/// is as long as the system does.
OIIO::TextureSystem::Perthread* own_thread_info(OIIO::TextureSystem& system)
{
    struct Known {
        OIIO::TextureSystem* system = nullptr;
        OIIO::TextureSystem::Perthread* info = nullptr;
    };
    thread_local constinit Known known;
    if (known.system != &system)
        known = {&system, system.get_perthread_info()};
    return known.info;
}

class Lookup {
public:
    Lookup(OIIO::TextureSystem& system, UniqueString const& name, Footprint const& footprint,
           LookupModes const& modes)
        : m_system(system)
        , m_thread_info(own_thread_info(system))
        , m_file(system.get_texture_handle(name, m_thread_info))
        , m_footprint(footprint)
    {
        m_options.fill = kFill;
        m_options.mipmode = mip_mode(modes.mip);
        m_options.interpmode = interp_mode(modes.interp);
        m_options.swrap = wrap_mode(modes.swrap);
        m_options.twrap = wrap_mode(modes.twrap);
        m_options.sblur = m_options.tblur = footprint.blur;
        if (modes.swrap == TextureOpt::WrapDefault || modes.twrap == TextureOpt::WrapDefault)
            take_safe_defaults();
    }

    bool read(int first_channel, int count, float* result)
    {
        m_options.firstchannel = first_channel;
        Footprint const& at = m_footprint;
        return m_system.texture(m_file, m_thread_info, m_options, at.s, at.t, at.dsdx, at.dtdx, at.dsdy,
                                at.dtdy, count, result, nullptr, nullptr);
    }

private:
    /// The default is what the file says, and a file may ask for the variant that ends the process.
    void take_safe_defaults()
    {
        static OIIO::ustring const attribute("wrapmodes");
        char const* text = nullptr;
        if (!m_system.get_texture_info(m_file, m_thread_info, 0, attribute, OIIO::TypeDesc::STRING, &text) ||
            !text)
            return;
        TextureOpt::Wrap s = TextureOpt::WrapDefault, t = TextureOpt::WrapDefault;
        TextureOpt::parse_wrapmodes(text, s, t);
        if (m_options.swrap == TextureOpt::WrapDefault && s == TextureOpt::WrapPeriodicPow2)
            m_options.swrap = wrap_mode(s);
        if (m_options.twrap == TextureOpt::WrapDefault && t == TextureOpt::WrapPeriodicPow2)
            m_options.twrap = wrap_mode(t);
    }

    OIIO::TextureSystem& m_system;
    OIIO::TextureSystem::Perthread* m_thread_info;
    OIIO::TextureSystem::TextureHandle* m_file;
    Footprint const& m_footprint;
    TextureOpt m_options;
};

/// In one call; one channel is a grey.
bool read_run(Lookup& lookup, MapEvalCtx const& ctx, float* result)
{
    bool const is_read = lookup.read(ctx.channels[0], static_cast<int>(ctx.channel_count), result);
    if (ctx.channel_count == 1)
        result[1] = result[2] = result[0];
    return is_read;
}

/// One call a channel, up to the first that fails.
bool read_scattered(Lookup& lookup, MapEvalCtx const& ctx, float* result)
{
    for (unsigned int index = 0; index < ctx.channel_count; ++index)
        if (!lookup.read(ctx.channels[index], 1, result + index))
            return false;
    return true;
}

/// True if the library can be asked for all of these channels.
bool are_channels_in_range(MapEvalCtx const& ctx, bool consecutive)
{
    auto const in_range = [](long long channel) { return channel >= 0 && channel <= channel_limit(); };
    if (consecutive)
        return in_range(ctx.channels[0]) &&
               (ctx.channel_count == 0 || in_range(ctx.channels[0] + (ctx.channel_count - 1ll)));
    return std::all_of(ctx.channels, ctx.channels + ctx.channel_count, in_range);
}

}  // namespace

void fill_result(MapEvalCtx const& ctx, float* result)
{
    unsigned int const count = !ctx.channels ? 4u : ctx.channel_count == 1 ? 3u : ctx.channel_count;
    std::fill_n(result, count, kFill);
}

bool look_up(OIIO::TextureSystem& system, UniqueString const& name, MapEvalCtx const& ctx,
             LookupModes const& modes, float* result)
{
    Footprint const footprint(ctx);
    bool const consecutive = !ctx.channels || is_consecutive(ctx.channels, ctx.channel_count);
    if (!is_wrap(modes.swrap) || !is_wrap(modes.twrap) || !footprint.is_finite() ||
        (ctx.channels && !are_channels_in_range(ctx, consecutive))) {
        fill_result(ctx, result);
        return false;
    }
    Lookup lookup(system, name, footprint, modes);
    bool is_read;
    if (!ctx.channels)
        is_read = lookup.read(0, 4, result);
    else
        is_read = consecutive ? read_run(lookup, ctx, result) : read_scattered(lookup, ctx, result);
    if (system.has_error())
        system.geterror();  // thrown away, so that the texts do not pile up; the result tells
    return is_read;
}

}  // namespace zv_image_io
