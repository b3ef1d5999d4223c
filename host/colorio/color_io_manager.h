#pragma once

#include <memory>
#include <mutex>

#include <OpenColorIO/OpenColorIO.h>

#include "host/core/core_string.h"

class ColorTransform;

/// Keeps the OpenColorIO configuration: the file named by the environment variable OCIO, else a small one
/// built in (linear, sRGB, Rec.709, ACEScg, ACES2065-1, raw; see docs/colour.md). It is read at the first
/// use.
///
/// Errors   a file that cannot be used is logged at level 1, and the built-in configuration serves
/// Threads  any number
class ColorIOManager {
public:
    /// Never null.
    static ColorIOManager* const s_instance;

    constexpr ColorIOManager() = default;
    ColorIOManager(ColorIOManager const&) = delete;
    ColorIOManager& operator=(ColorIOManager const&) = delete;

    /// The configuration of this moment; never null. Who holds it keeps it through a change.
    OCIO_NAMESPACE::ConstConfigRcPtr get_config();

    /// What stands between a family and a name in the lists of the user interface.
    [[nodiscard]] char get_color_space_enum_separator() const { return '|'; }

    /// Takes another configuration file. False, the current one kept and the reason in `error` (may be null),
    /// if it cannot be used.
    bool set_config_file(CoreString const& path, CoreString* error = nullptr);
    /// Goes back to the file of the environment variable, read anew, or to the built-in configuration.
    void reload();

    /// The path of the configuration file in use; empty for the built-in one.
    CoreString get_config_file();

    /// The prepared conversion between two spaces under the configuration's own names, from the cache or
    /// made; null if OpenColorIO refuses.
    std::shared_ptr<ColorTransform const> get_transform(CoreString const& source, CoreString const& target);

private:
    struct State;

    /// Calls work(state) under the lock, reading the configuration first if need be; logs after it.
    template <class Work>
    auto with_state(Work const& work);

    // Plain members only, never destroyed: other statics may convert colours while the process ends.
    std::mutex m_mutex;
    State* m_state = nullptr;
};
