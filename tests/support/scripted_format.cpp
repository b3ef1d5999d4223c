#include "tests/support/scripted_format.h"

#include <map>

#include "tests/support/scripted_state.h"

namespace zv_test {

namespace {

using StatePointer = std::shared_ptr<ScriptedFile::State>;

struct Registry {
    std::mutex mutex;
    std::map<std::string, StatePointer> states;
};

Registry& registry()
{
    static Registry the_registry;
    return the_registry;
}

void declare_format_once()
{
    static bool const declared = [] {
        // Asked first, since a declared format would keep OpenImageIO from looking for its own.
        OIIO::ustring extensions;
        OIIO::getattribute("extension_list", OIIO::TypeDesc::STRING, &extensions);
        static char const* endings[] = {"zvs", nullptr};
        OIIO::declare_imageio_format("zvscript", make_scripted_input, endings, make_scripted_output, endings,
                                     "1");
        return true;
    }();
    (void)declared;
}

StatePointer register_state(std::string const& path)
{
    declare_format_once();
    auto state = std::make_shared<ScriptedFile::State>();
    std::lock_guard const guard(registry().mutex);
    registry().states[path] = state;
    return state;
}

}  // namespace

StatePointer scripted_state(std::string const& path)
{
    std::lock_guard const guard(registry().mutex);
    auto const found = registry().states.find(path);
    return found == registry().states.end() ? nullptr : found->second;
}

bool any_script_takes_tiles()
{
    std::lock_guard const guard(registry().mutex);
    for (auto const& [path, state] : registry().states)
        if (state->writing.supports_tiles)
            return true;
    return false;
}

ScriptedFile::ScriptedFile(TempDir const& folder, ReadScript script, std::string const& name)
    : m_path(folder.file(name))
    , m_state(register_state(m_path))
{
    write_bytes(m_path, {'s', 'c', 'r', 'i', 'p', 't', '\n'});
    m_state->reading = std::move(script);
}

ScriptedFile::ScriptedFile(TempDir const& folder, WriteScript script, std::string const& name)
    : m_path(folder.file(name))
    , m_state(register_state(m_path))
{
    m_state->writing = std::move(script);
}

ScriptedFile::~ScriptedFile()
{
    std::lock_guard const guard(registry().mutex);
    registry().states.erase(m_path);
}

std::vector<ReadCall> ScriptedFile::reads() const
{
    std::lock_guard const guard(m_state->mutex);
    return m_state->reads;
}

int ScriptedFile::opens() const
{
    std::lock_guard const guard(m_state->mutex);
    return m_state->opens;
}

int ScriptedFile::closes() const
{
    std::lock_guard const guard(m_state->mutex);
    return m_state->closes;
}

WriteRecord ScriptedFile::written() const
{
    std::lock_guard const guard(m_state->mutex);
    return m_state->written;
}

void ScriptedFile::clear()
{
    std::lock_guard const guard(m_state->mutex);
    m_state->reads.clear();
    m_state->opens = 0;
    m_state->closes = 0;
    m_state->written = {};
}

}  // namespace zv_test
