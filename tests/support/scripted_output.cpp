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
        return feature == "tiles" && m_state && m_state->writing.supports_tiles;
    }

    using OIIO::ImageOutput::open;
    bool open(std::string const& name, OIIO::ImageSpec const& spec, OpenMode) override;
    bool close() override;
    bool write_image(OIIO::TypeDesc format, void const* data, OIIO::stride_t x_stride,
                     OIIO::stride_t y_stride, OIIO::stride_t z_stride, OIIO::ProgressCallback,
                     void*) override;
    bool write_scanline(int y, int z, OIIO::TypeDesc format, void const* data,
                        OIIO::stride_t x_stride) override;
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

bool ScriptedOutput::write_tile(int x, int y, int, OIIO::TypeDesc, void const*, OIIO::stride_t,
                                OIIO::stride_t, OIIO::stride_t)
{
    m_state->note("write_tile " + std::to_string(x) + " " + std::to_string(y));
    return answer(m_state->writing.write, m_state->writing.write_error);
}

}  // namespace

OIIO::ImageOutput* make_scripted_output()
{
    return new ScriptedOutput;
}

}  // namespace zv_test
