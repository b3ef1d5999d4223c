#include "host/colorio/color_io_manager.h"

#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <utility>

#include "host/colorio/built_in_config.h"
#include "host/colorio/color_transform.h"
#include "host/core/core_log_handler.h"

namespace OCIO = OCIO_NAMESPACE;

namespace {

constinit ColorIOManager the_manager;

/// The configuration of a file, or null and the reason.
OCIO::ConstConfigRcPtr read_config(char const* path, std::string& error)
try {
    OCIO::ConstConfigRcPtr config = OCIO::Config::CreateFromFile(path);
    config->validate();
    return config;
} catch (std::exception const& exception) {
    error = exception.what();
    return nullptr;
}

OCIO::ConstConfigRcPtr built_in_config()
{
    std::istringstream text(zv_host::kBuiltInColorConfig);
    return OCIO::Config::CreateFromStream(text);
}

void log_unusable_file(char const* path, std::string const& error)
{
    if (CoreLogHandler::s_main_log_handler.m_level < 1)
        return;
    CoreLogStream line;
    line.m_text += "Colour configuration '";
    line.m_text += path;
    line.m_text += "' cannot be used: ";
    line.m_text += error.c_str();
    line.m_text += "\n";
    CoreLogHandler::log(1, line);
}

}  // namespace

struct ColorIOManager::State {
    OCIO::ConstConfigRcPtr config;
    std::string file;
    std::map<std::pair<std::string, std::string>, std::shared_ptr<ColorTransform const>> transforms;

    void take(OCIO::ConstConfigRcPtr new_config, std::string new_file)
    {
        config = std::move(new_config);
        file = std::move(new_file);
        transforms.clear();
    }

    void take_environment()
    {
        char const* const path = std::getenv("OCIO");
        std::string error;
        OCIO::ConstConfigRcPtr named = path != nullptr && *path != '\0' ? read_config(path, error) : nullptr;
        if (named != nullptr) {
            take(std::move(named), path);
            return;
        }
        if (!error.empty())
            log_unusable_file(path, error);
        take(built_in_config(), {});
    }
};

ColorIOManager* const ColorIOManager::s_instance = &the_manager;

ColorIOManager::State& ColorIOManager::locked_state()
{
    if (m_state == nullptr) {
        auto state = std::make_unique<State>();
        state->take_environment();
        m_state = state.release();
    }
    return *m_state;
}

OCIO::ConstConfigRcPtr ColorIOManager::get_config()
{
    std::lock_guard const lock(m_mutex);
    return locked_state().config;
}

bool ColorIOManager::set_config_file(CoreString const& path, CoreString* error)
{
    std::string reason;
    OCIO::ConstConfigRcPtr config = read_config(path.get_data(), reason);
    if (config == nullptr) {
        if (error != nullptr)
            *error = reason.c_str();
        return false;
    }
    std::lock_guard const lock(m_mutex);
    locked_state().take(std::move(config), path.get_data());
    return true;
}

void ColorIOManager::reload()
{
    std::lock_guard const lock(m_mutex);
    locked_state().take_environment();
}

CoreString ColorIOManager::get_config_file()
{
    std::lock_guard const lock(m_mutex);
    return locked_state().file.c_str();
}

std::shared_ptr<ColorTransform const> ColorIOManager::get_transform(CoreString const& source,
                                                                    CoreString const& target)
try {
    std::lock_guard const lock(m_mutex);
    State& state = locked_state();
    auto& transform = state.transforms[{source.get_data(), target.get_data()}];
    // Preparing takes milliseconds, and every load of a kind of file asks for the same pair.
    if (transform == nullptr)
        transform = std::make_shared<ColorTransform>(
            state.config->getProcessor(source.get_data(), target.get_data()));
    return transform;
} catch (...) {
    return nullptr;
}
