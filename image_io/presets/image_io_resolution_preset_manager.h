#pragma once

#include "host/core/core_string.h"
#include "host/core/core_vector.h"
#include "host/event/event_object.h"
#include "image_io/frame/export.h"

class AppBase;
class OfApp;
class OfEnum;
class OfObject;

/// The list of named output resolutions: the built-in one, or that of a file (docs/services.md). It is offered as a
/// list of records, and as the enumeration "resolution_preset" of the application's factory.
///
/// Events   "EVT_ID_RESOLUTION_PRESET_MANAGER_LIST_CHANGED" whenever the list was made anew
/// Errors   nothing throws but constructors and assignments without memory; a file that cannot be used is logged at level 2,
///          and the built-in list serves
/// Threads  one: that which raises the application's events
class ZV_IMAGE_IO_EXPORT ImageIOResolutionPresetManager : public EventObject {
public:
    /// A preset, or the heading of those that follow it up to the next one.
    struct ResolutionPreset {
        CoreString name;
        float aspect_ratio = 0.0f;  ///< of a pixel; of a heading as little use as its size
        int width = -1;             ///< pixels; -1 where there is none
        int height = -1;
        bool is_group = false;
    };

    /// `get_preset_index` for a name that is in no list.
    static constexpr unsigned int kInvalidIndex = 0xFFFFFFFFu;

    explicit ImageIOResolutionPresetManager(OfApp* app);
    ~ImageIOResolutionPresetManager() override;
    ImageIOResolutionPresetManager(ImageIOResolutionPresetManager const& other);
    ImageIOResolutionPresetManager(ImageIOResolutionPresetManager&& other);
    ImageIOResolutionPresetManager& operator=(ImageIOResolutionPresetManager const& other);
    ImageIOResolutionPresetManager& operator=(ImageIOResolutionPresetManager&& other);

    /// Makes the instance if there is none, and starts it. The application of the first call counts.
    static bool static_init(OfApp* app);
    /// Null before `static_init` and after `destroy`.
    static ImageIOResolutionPresetManager* get_instance();
    static void destroy();

    /// Shows the built-in list and follows the application's settings from now on. False without an application.
    bool init();

    /// Entries of the list, headings included.
    unsigned int get_presets_count() const;
    CoreVector<ResolutionPreset> const& get_resolution_presets() const;
    /// Index of the first entry of that size; 0, "Custom", if there is none.
    unsigned int find_preset(int width, int height) const;
    /// Index of the first entry of exactly that name, or `kInvalidIndex`.
    unsigned int get_preset_index(CoreString name) const;
    /// Empty past the end, and without memory.
    CoreString get_preset_name(unsigned int index) const;

    /// Reads the application's file anew, if its settings say that one is used.
    void update_file_config_path();

private:
    using Presets = CoreVector<ResolutionPreset>;

    void watch_application();
    void leave_application();
    bool init_default_verrane_config();
    void use_file_config(bool const& use);
    void take_file_or_default();
    void update_enum();
    void fill_enum();
    bool build_from_file(CoreString const& path);
    void on_config_file_path_changed(AppBase& sender, EventObject::EventInfo const& info, OfObject* data);
    void on_use_config_file_changed(AppBase& sender, EventObject::EventInfo const& info, OfObject* data);
    void on_application_destroyed(EventObject& sender, EventObject::EventInfo const& info, OfObject* data);

    bool m_file_config_loaded = false;
    Presets m_presets;  // the active list: a copy of one of the two below
    Presets m_default_presets;
    Presets m_file_presets;
    OfEnum* m_preset_enum = nullptr;  // the factory's
    OfApp* m_app;                     // null once it is gone

    static ImageIOResolutionPresetManager* m_instance;
};
