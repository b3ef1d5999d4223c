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

void log_error(std::string const& text)
{
    if (text.empty() || CoreLogHandler::s_main_log_handler.m_level < 1)
        return;
    CoreLogStream line;
    line.m_text += text.c_str();
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

    /// The line to log when the file of the environment cannot be used; else empty.
    std::string take_environment()
    {
        char const* const path = std::getenv("OCIO");
        std::string error;
        OCIO::ConstConfigRcPtr named = path != nullptr && *path != '\0' ? read_config(path, error) : nullptr;
        if (named != nullptr) {
            take(std::move(named), path);
            return {};
        }
        take(built_in_config(), {});
        return error.empty()
                   ? error
                   : "Colour configuration '" + std::string(path) + "' cannot be used: " + error + "\n";
    }
};

ColorIOManager* const ColorIOManager::s_instance = &the_manager;

template <class Work>
auto ColorIOManager::with_state(Work const& work)
{
    std::string line;
    auto const locked = [&] {
        std::lock_guard const lock(m_mutex);
        if (m_state == nullptr) {
            auto state = std::make_unique<State>();
            line = state->take_environment();
            m_state = state.release();
        }
        return work(*m_state);
    };
    auto result = locked();
    // Outside the lock: a sink may ask for colours.
    log_error(line);
    return result;
}

OCIO::ConstConfigRcPtr ColorIOManager::get_config()
{
    return with_state([](State const& state) { return state.config; });
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
    return with_state([&](State& state) {
        state.take(config, path.get_data());
        return true;
    });
}

void ColorIOManager::reload()
{
    log_error(with_state([](State& state) { return state.take_environment(); }));
}

CoreString ColorIOManager::get_config_file()
{
    return with_state([](State const& state) { return CoreString(state.file.c_str()); });
}

std::shared_ptr<ColorTransform const> ColorIOManager::get_transform(CoreString const& source,
                                                                    CoreString const& target)
try {
    return with_state([&](State& state) {
        auto& transform = state.transforms[{source.get_data(), target.get_data()}];
        // Preparing takes milliseconds, and every load of a kind of file asks for the same pair.
        if (transform == nullptr)
            transform = std::make_shared<ColorTransform>(
                state.config->getProcessor(source.get_data(), target.get_data()));
        return transform;
    });
} catch (...) {
    return nullptr;
}
