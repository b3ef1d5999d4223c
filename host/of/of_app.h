#pragma once

#include "host/app_base/app_base.h"
#include "host/core/core_string.h"
#include "host/of/of_channel_manager.h"
#include "host/of/of_object_factory.h"

/// The application object: its output settings, its layers and its factory.
class OfApp : public AppBase {
public:
    OfApp();
    ~OfApp() override;

    CoreClassInfo const& get_class_info() const override;
    static CoreClassInfo const& class_info();

    virtual OfObjectFactory& get_factory();

    OfChannelManager& get_channel_manager() noexcept { return m_channel_manager; }
    OfChannelManager const& get_channel_manager() const noexcept { return m_channel_manager; }

    int tiling_mode = 0;  ///< 1 writes tiled files
    bool output_aovs_in_all_formats = false;
    bool output_one_file_per_aov = false;
    bool output_aovs_only = false;
    double dwa_compression_level = 45.0;
    /// Whoever changes one of these two raises "EVT_ID_APPLICATION_RES_PRESET_FILE_USE_CHANGED" or
    /// "EVT_ID_APPLICATION_RES_PRESET_FILE_PATH_CHANGED" on the application afterwards.
    bool resolution_preset_file_use = false;
    CoreString resolution_preset_file_path;

private:
    OfChannelManager m_channel_manager;
    OfObjectFactory m_factory;
};
