#include <algorithm>
#include <cstring>
#include <new>
#include <optional>

#include "tests/support/scripted_state.h"

namespace zv_test {

namespace {

class ScriptedInput : public OIIO::ImageInput {
public:
    char const* format_name() const override
    {
        return m_state ? m_state->reading.format_name.c_str() : "zvscript";
    }
    bool valid_file(std::string const&) const override { return true; }
    int supports(OIIO::string_view feature) const override
    {
        return feature == "random_access" && m_state && m_state->reading.random_access;
    }

    using OIIO::ImageInput::open;
    bool open(std::string const& name, OIIO::ImageSpec& spec) override;
    bool open(std::string const& name, OIIO::ImageSpec& spec, OIIO::ImageSpec const&) override
    {
        return open(name, spec);
    }
    bool close() override;

    using OIIO::ImageInput::read_scanlines;
    bool read_scanlines(int subimage, int miplevel, int begin_y, int end_y, int z, int first_channel,
                        int end_channel, OIIO::TypeDesc format, void* data, OIIO::stride_t x_stride,
                        OIIO::stride_t y_stride) override;
    bool read_tile(int x, int y, int z, OIIO::TypeDesc format, void* data, OIIO::stride_t x_stride,
                   OIIO::stride_t y_stride, OIIO::stride_t z_stride) override;
    bool read_native_scanline(int subimage, int miplevel, int y, int z, void* data) override;
    bool read_native_tile(int subimage, int miplevel, int x, int y, int z, void* data) override;

private:
    std::optional<std::string> first_bad_row(ReadCall const& call);
    bool finish(ReadCall call, std::optional<std::string> const& trouble);
    void deliver(ReadCall const& call, int end_x, int end_y, void* data, OIIO::stride_t x_stride,
                 OIIO::stride_t y_stride) const;

    std::shared_ptr<ScriptedFile::State> m_state;
    bool m_ended = false, m_has_echo = false;
    int m_first_bad_row = 1 << 30;
};

bool ScriptedInput::open(std::string const& name, OIIO::ImageSpec& spec)
{
    m_state = scripted_state(name);
    if (!m_state) {
        errorfmt("no script for {}", name);
        return false;
    }
    {
        std::lock_guard const guard(m_state->mutex);
        ++m_state->opens;
    }
    if (!m_state->reading.opens) {
        errorfmt("{}", m_state->reading.open_error);
        return false;
    }
    m_ended = false;
    m_spec = m_state->reading.spec;
    spec = m_spec;
    return true;
}

bool ScriptedInput::close()
{
    if (m_state) {
        std::lock_guard const guard(m_state->mutex);
        ++m_state->closes;
    }
    return true;
}

/// The text for the first thing among the call's rows that will not read; nothing when all of them do.
std::optional<std::string> ScriptedInput::first_bad_row(ReadCall const& call)
{
    ReadScript const& script = m_state->reading;
    m_first_bad_row = call.y;
    if (m_ended)
        return "stream ended";
    for (int y = call.y; y < call.end_y; ++y) {
        m_first_bad_row = y;
        if (y >= script.ends_at_row) {
            m_ended = true;
            return "stream ended";
        }
        if (script.bad_rows.count(y))
            return "bad row " + std::to_string(y);
        for (int channel = call.first_channel; channel < call.end_channel; ++channel)
            if (script.bad_samples.count({channel, y}))
                return "bad sample " + std::to_string(channel) + " " + std::to_string(y);
    }
    return std::nullopt;
}

bool ScriptedInput::finish(ReadCall call, std::optional<std::string> const& trouble)
{
    ReadScript const& script = m_state->reading;
    call.succeeded = !trouble;
    {
        std::lock_guard const guard(m_state->mutex);
        m_state->reads.push_back(call);
    }
    if (trouble && script.throws)
        throw std::bad_alloc();
    std::string const text = !trouble       ? script.error_after_success
                             : script.error ? script.error(call)
                                            : *trouble;
    if (!text.empty())
        errorfmt("{}", text);
    return call.succeeded;
}

void ScriptedInput::deliver(ReadCall const& call, int end_x, int end_y, void* data, OIIO::stride_t x_stride,
                            OIIO::stride_t y_stride) const
{
    std::size_t const sample_size = call.format.size();
    int const channels = call.end_channel - call.first_channel;
    if (x_stride == OIIO::AutoStride)
        x_stride = static_cast<OIIO::stride_t>(sample_size * channels);
    if (y_stride == OIIO::AutoStride)
        y_stride = x_stride * (end_x - call.x);
    for (int y = call.y; y < end_y; ++y)
        for (int x = call.x; x < end_x; ++x)
            for (int channel = call.first_channel; channel < call.end_channel; ++channel) {
                double const sample = m_state->reading.sample(channel, x, y);
                char* const target = static_cast<char*>(data) + (y - call.y) * y_stride +
                                     (x - call.x) * x_stride + (channel - call.first_channel) * sample_size;
                OIIO::convert_types(OIIO::TypeDesc::DOUBLE, &sample, call.format, target, 1);
            }
}

bool ScriptedInput::read_scanlines(int, int, int begin_y, int end_y, int, int first_channel, int end_channel,
                                   OIIO::TypeDesc format, void* data, OIIO::stride_t x_stride,
                                   OIIO::stride_t y_stride)
{
    // As OpenImageIO's own: an end at or below the begin widens to one channel, one past the last is cut.
    end_channel = std::clamp(end_channel, first_channel + 1, m_spec.nchannels);
    end_y = std::min(end_y, m_spec.y + m_spec.height);
    if (format == OIIO::TypeDesc::UNKNOWN)
        format = m_spec.format;
    ReadCall const call{ReadCall::SCANLINES, m_spec.x,    begin_y, end_y,
                        first_channel,       end_channel, format,  false};
    auto trouble = first_bad_row(call);
    bool const is_echo = !trouble && m_has_echo;
    m_has_echo = trouble && m_state->reading.echoes;
    if (is_echo)
        trouble = "echo";
    int const delivered_end = !trouble                               ? end_y
                              : m_state->reading.keeps_rows_in_front ? m_first_bad_row
                                                                     : begin_y;
    deliver(call, m_spec.x + m_spec.width, delivered_end, data, x_stride, y_stride);
    return finish(call, trouble);
}

bool ScriptedInput::read_tile(int x, int y, int, OIIO::TypeDesc format, void* data, OIIO::stride_t x_stride,
                              OIIO::stride_t y_stride, OIIO::stride_t)
{
    if (format == OIIO::TypeDesc::UNKNOWN)
        format = m_spec.format;
    ReadCall const call{ReadCall::TILE, x, y, y + m_spec.tile_height, 0, m_spec.nchannels, format, false};
    std::optional<std::string> trouble;
    if ((x - m_spec.x) % m_spec.tile_width || (y - m_spec.y) % m_spec.tile_height)
        trouble = "";
    else if (m_state->reading.bad_tiles.count({x, y}))
        trouble = "bad tile " + std::to_string(x) + " " + std::to_string(y);
    if (!trouble) {
        deliver(call, x + m_spec.tile_width, y + m_spec.tile_height, data, x_stride, y_stride);
        std::size_t const slice = format.size() * std::size_t(m_spec.nchannels) *
                                  std::size_t(m_spec.tile_width) * std::size_t(m_spec.tile_height);
        // The deeper slices of a volume's tile, packed: bytes that belong to no first slice.
        for (int z = 1; z < m_spec.tile_depth; ++z)
            std::memset(static_cast<char*>(data) + std::size_t(z) * slice, 0x7f, slice);
    }
    return finish(call, trouble);
}

bool ScriptedInput::read_native_scanline(int subimage, int miplevel, int y, int z, void* data)
{
    return read_scanlines(subimage, miplevel, y, y + 1, z, 0, m_spec.nchannels, m_spec.format, data,
                          OIIO::AutoStride, OIIO::AutoStride);
}

bool ScriptedInput::read_native_tile(int, int, int x, int y, int z, void* data)
{
    return read_tile(x, y, z, m_spec.format, data, OIIO::AutoStride, OIIO::AutoStride, OIIO::AutoStride);
}

}  // namespace

OIIO::ImageInput* make_scripted_input()
{
    return new ScriptedInput;
}

}  // namespace zv_test
