#include <algorithm>
#include <cstring>
#include <fstream>
#include <stdexcept>

#include "tests/support/scripted_state.h"

namespace zv_test {

namespace {

class ScriptedOutput : public OIIO::ImageOutput {
public:
    ~ScriptedOutput() override
    {
        if (m_state)
            m_state->note("destroy");
    }
    char const* format_name() const override { return "zvscript"; }
    int supports(OIIO::string_view feature) const override
    {
        // Before `open` the path is not known: any script that says so will do.
        return feature == "tiles" && (m_state ? m_state->writing.supports_tiles : any_script_takes_tiles());
    }

    using OIIO::ImageOutput::open;
    bool open(std::string const& name, OIIO::ImageSpec const& spec, OpenMode) override;
    bool close() override;
    bool write_image(OIIO::TypeDesc format, void const* data, OIIO::stride_t x_stride,
                     OIIO::stride_t y_stride, OIIO::stride_t z_stride, OIIO::ProgressCallback,
                     void*) override;
    bool write_scanline(int y, int z, OIIO::TypeDesc format, void const* data,
                        OIIO::stride_t x_stride) override;
    bool write_scanlines(int begin_y, int end_y, int z, OIIO::TypeDesc format, void const* data,
                         OIIO::stride_t x_stride, OIIO::stride_t y_stride) override;
    bool write_tile(int x, int y, int z, OIIO::TypeDesc format, void const* data, OIIO::stride_t x_stride,
                    OIIO::stride_t y_stride, OIIO::stride_t z_stride) override;

private:
    bool answer(WriteScript::Answer what, std::string const& text);

    std::shared_ptr<ScriptedFile::State> m_state;
};

bool ScriptedOutput::answer(WriteScript::Answer what, std::string const& text)
{
    if (what == WriteScript::THROW)
        throw std::runtime_error(text);
    if (what == WriteScript::REFUSE)
        errorfmt("{}", text);
    return what == WriteScript::ACCEPT;
}

bool ScriptedOutput::open(std::string const& name, OIIO::ImageSpec const& spec, OpenMode)
{
    m_state = scripted_state(name);
    if (!m_state) {
        errorfmt("no script for {}", name);
        return false;
    }
    m_spec = spec;
    m_state->note("open " + std::to_string(spec.width) + " by " + std::to_string(spec.height) + ", " +
                  std::to_string(spec.nchannels) + " channels of " + spec.format.c_str());
    {
        std::lock_guard const guard(m_state->mutex);
        m_state->written.spec = spec;
    }
    if (m_state->writing.makes_file && m_state->writing.open == WriteScript::ACCEPT)
        std::ofstream(name) << "written\n";
    return answer(m_state->writing.open, m_state->writing.open_error);
}

bool ScriptedOutput::close()
{
    if (!m_state)
        return true;
    m_state->note("close");
    return answer(m_state->writing.close, m_state->writing.close_error);
}

bool ScriptedOutput::write_image(OIIO::TypeDesc format, void const* data, OIIO::stride_t, OIIO::stride_t,
                                 OIIO::stride_t, OIIO::ProgressCallback, void*)
{
    m_state->note(std::string("write_image ") + format.c_str());
    std::vector<float> samples(m_spec.image_pixels() * m_spec.nchannels);
    OIIO::convert_types(format, data, OIIO::TypeDesc::FLOAT, samples.data(),
                        static_cast<int>(samples.size()));
    {
        std::lock_guard const guard(m_state->mutex);
        m_state->written.samples = std::move(samples);
    }
    return answer(m_state->writing.write, m_state->writing.write_error);
}

bool ScriptedOutput::write_scanline(int y, int, OIIO::TypeDesc, void const*, OIIO::stride_t)
{
    m_state->note("write_scanline " + std::to_string(y));
    return answer(m_state->writing.write, m_state->writing.write_error);
}

/// Takes floats alone, packed, as all strips of the module are.
bool ScriptedOutput::write_scanlines(int begin_y, int end_y, int z, OIIO::TypeDesc format, void const* data,
                                     OIIO::stride_t x_stride, OIIO::stride_t y_stride)
{
    m_state->note("write_scanlines " + std::to_string(begin_y) + " " + std::to_string(end_y) + ", z " +
                  std::to_string(z) + ", " + format.c_str());
    if (x_stride != OIIO::AutoStride || y_stride != OIIO::AutoStride)
        throw std::logic_error("strips are packed");
    std::size_t const row_length = std::size_t(m_spec.width) * m_spec.nchannels;
    {
        std::lock_guard const guard(m_state->mutex);
        std::vector<float>& samples = m_state->written.samples;
        samples.resize(row_length * m_spec.height);
        for (int y = std::max(begin_y, m_spec.y); y < std::min(end_y, m_spec.y + m_spec.height); ++y)
            std::copy_n(static_cast<float const*>(data) + std::size_t(y - begin_y) * row_length, row_length,
                        samples.data() + std::size_t(y - m_spec.y) * row_length);
    }
    auto const bad = m_state->writing.bad_rows.lower_bound(begin_y);
    bool const is_bad = bad != m_state->writing.bad_rows.end() && *bad < end_y;
    return answer(is_bad ? m_state->writing.bad_answer : m_state->writing.write,
                  m_state->writing.write_error);
}

bool ScriptedOutput::write_tile(int x, int y, int z, OIIO::TypeDesc format, void const* data,
                                OIIO::stride_t x_stride, OIIO::stride_t y_stride, OIIO::stride_t z_stride)
{
    m_state->note("write_tile " + std::to_string(x) + " " + std::to_string(y));
    WrittenTile tile{x, y, z, format, x_stride, y_stride, z_stride, {}};
    std::size_t const pixel_bytes = sizeof(float) * m_spec.nchannels;
    std::vector<char> bytes;
    for (int row = 0; row < m_spec.tile_height; ++row)
        for (int column = 0; column < m_spec.tile_width; ++column) {
            char const* const pixel = static_cast<char const*>(data) + row * y_stride + column * x_stride;
            bytes.insert(bytes.end(), pixel, pixel + pixel_bytes);
        }
    tile.samples.resize(bytes.size() / sizeof(float));
    std::memcpy(tile.samples.data(), bytes.data(), bytes.size());
    {
        std::lock_guard const guard(m_state->mutex);
        m_state->written.tiles.push_back(std::move(tile));
    }
    bool const is_bad = m_state->writing.bad_tiles.count({x, y}) != 0;
    return answer(is_bad ? m_state->writing.bad_answer : m_state->writing.write,
                  m_state->writing.write_error);
}

}  // namespace

OIIO::ImageOutput* make_scripted_output()
{
    return new ScriptedOutput;
}

}  // namespace zv_test
