#include <OpenImageIO/imageio.h>

#include <algorithm>

#include "host/app_base/app_progress_bar.h"
#include "host/image/image_map.h"
#include "host/image/image_map_channel.h"
#include "image_io/frame/log_line.h"
#include "image_io/load/channel_names.h"
#include "image_io/load/channel_pass.h"
#include "image_io/load/image_io_load.h"
#include "image_io/load/map_channels.h"

namespace zv_image_io {

namespace {

struct ScanlineJob {
    ScanlineSource source;
    ImageLoadOptions const& options;
    bool accept_partial;
    AppProgressBar* progress;
};

/// Reports the steps of a bar that counts channels while lines come in for all channels at once.
class ChannelSteps {
public:
    ChannelSteps(AppProgressBar* progress, unsigned int count)
        : m_progress(progress)
        , m_count(count)
    {
        if (m_progress)
            m_progress->set_step_count(count);
    }

    void advance(int lines, int height)
    {
        while (m_progress && m_done < m_count &&
               std::int64_t(lines) * m_count >= std::int64_t(m_done + 1) * height)
            m_progress->step(++m_done);
    }
    void advance_to(unsigned int step)
    {
        while (m_progress && m_done < step)
            m_progress->step(++m_done);
    }
    void finish() { advance_to(m_count); }

private:
    AppProgressBar* m_progress;
    unsigned int m_count, m_done = 0;
};

void log_read_error(CoreString const& error)
{
    log_line(3, "OpenImageIO error: ", error, ".\n");
}

ImageMapChannel* add_channel(ScanlineSource const& source, CoreString const& name)
{
    return zv_image_io::add_channel(source.map, name, source.report);
}

void clamp_alpha(ImageMapChannel& channel, Window const& window)
{
    if (channel.m_name == "a")
        channel.clamp_values(0.0f, 1.0f, window.rectangle());
}

/// All channels of the file, each read for itself: a failed one stays without tiles. The last one's read counts.
bool read_all_channels_whole(ScanlineJob const& job, std::vector<WantedChannel> const& wanted,
                             ChannelSteps& steps)
{
    bool last_is_good = true;
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        CoreString error;
        last_is_good = read_whole_plane(job.source, wanted[i], error);
        if (!last_is_good)
            log_read_error(error);
        clamp_alpha(*wanted[i].channel, job.source.window);
        steps.advance_to(static_cast<unsigned int>(i + 1));
    }
    return last_is_good;
}

bool read_all_channels(ScanlineJob const& job)
{
    ChannelSteps steps(job.progress, unsigned(job.source.spec.nchannels));
    std::vector<WantedChannel> wanted;
    for (int i = 0; i < job.source.spec.nchannels; ++i)
        if (ImageMapChannel* const channel = add_channel(job.source, file_channel_name(job.source.spec, i)))
            wanted.push_back({i, channel});
    if (wanted.empty())
        return false;  // no memory for any of them
    if (!job.accept_partial)
        return read_all_channels_whole(job, wanted, steps);

    ChannelPass pass(job.source, wanted);
    pass.run([&](int lines) { steps.advance(lines, job.source.window.height); });
    for (std::size_t k = 0; k < wanted.size(); ++k) {
        if (pass.has_failed(k))
            log_read_error(pass.first_error(k));
        clamp_alpha(*wanted[k].channel, job.source.window);
    }
    steps.finish();
    return true;
}

/// The named channels, each read for itself; the first failure ends the operation.
bool read_named_channels_whole(ScanlineJob const& job, std::vector<NamedChannel> const& named,
                               ChannelSteps& steps)
{
    for (std::size_t k = 0; k < named.size(); ++k) {
        if (named[k].file_channel >= 0) {
            ImageMapChannel* const channel = add_channel(job.source, named[k].destination);
            CoreString error;
            if (channel && !read_whole_plane(job.source, {named[k].file_channel, channel}, error)) {
                log_read_error(error);
                return false;
            }
            if (channel)
                clamp_alpha(*channel, job.source.window);
        }
        steps.advance_to(static_cast<unsigned int>(k + 1));
    }
    return true;
}

bool read_named_channels(ScanlineJob const& job)
{
    std::vector<NamedChannel> const named = find_named_channels(job.source.spec, *job.options.channels);
    ChannelSteps steps(job.progress, static_cast<unsigned int>(named.size()));
    if (!job.accept_partial)
        return read_named_channels_whole(job, named, steps);

    std::vector<WantedChannel> wanted;
    for (NamedChannel const& each : named)
        if (each.file_channel >= 0)
            if (ImageMapChannel* const channel = add_channel(job.source, each.destination))
                wanted.push_back({each.file_channel, channel});
    if (!wanted.empty()) {
        // A failed read is not logged on this road.
        ChannelPass pass(job.source, wanted);
        pass.run([&](int lines) { steps.advance(lines, job.source.window.height); });
        for (WantedChannel const& each : wanted)
            clamp_alpha(*each.channel, job.source.window);
    }
    steps.finish();
    return true;
}

bool read_single_channel(ScanlineJob const& job)
{
    ScanlineSource const& source = job.source;
    ImageMapChannel* const channel = add_channel(source, single_channel_name(job.options));
    if (!channel)
        return false;
    CoreString error;
    bool good;
    if (job.accept_partial) {
        ChannelPass pass(source, {{0, channel}});
        pass.run([](int) {});
        good = !pass.has_failed(0);
        error = pass.first_error(0);
    } else {
        good = read_whole_plane(source, {0, channel}, error);
    }
    if (good || job.accept_partial)
        clamp_alpha(*channel, source.window);
    if (!good)
        log_read_error(error);
    if (!good && !job.accept_partial)
        return false;
    if (source.spec.nchannels == 1 && job.options.single_channel_mode == 3)
        copy_to_alpha(source.map, *channel, source.window.rectangle(), source.report);
    if (job.progress)
        job.progress->set_value(1.0f);
    return true;
}

}  // namespace

}  // namespace zv_image_io

bool ImageIOLoad::read_scanline_data(OIIO::ImageInput* input, OIIO::ImageSpec& spec, ImageMap& map,
                                     GMathVec4<int>& data_window, ImageLoadOptions const& options,
                                     bool accept_partial, OfApp*, AppProgressBar* progress,
                                     ImageLoadReport& report)
{
    using namespace zv_image_io;
    ScanlineJob const job{
        {*input, spec, map, window_of(data_window), report}, options, accept_partial, progress};
    if (is_single_channel_load(spec, options))
        return read_single_channel(job);
    if (spec.nchannels == 1 || !options.channels)
        return read_all_channels(job);
    return read_named_channels(job);
}
