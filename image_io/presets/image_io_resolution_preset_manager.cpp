#include "image_io/presets/image_io_resolution_preset_manager.h"

#include <utility>

#include "host/core/core_hash_table.h"
#include "host/of/of_app.h"
#include "image_io/frame/event_table.h"
#include "image_io/frame/guarded.h"
#include "image_io/frame/log_line.h"

using zv_image_io::guarded;
using zv_image_io::kLogWarning;
using zv_image_io::log_line;

ImageIOResolutionPresetManager* ImageIOResolutionPresetManager::m_instance = nullptr;

ImageIOResolutionPresetManager::ImageIOResolutionPresetManager(OfApp* app)
    : m_app(app)
{
    watch_application();
}

ImageIOResolutionPresetManager::~ImageIOResolutionPresetManager() = default;

ImageIOResolutionPresetManager::ImageIOResolutionPresetManager(ImageIOResolutionPresetManager const& other)
    : EventObject(other)
    , m_file_config_loaded(other.m_file_config_loaded)
    , m_presets(other.m_presets)
    , m_default_presets(other.m_default_presets)
    , m_file_presets(other.m_file_presets)
    , m_preset_enum(other.m_preset_enum)
    , m_app(other.m_app)
{
    watch_application();
}

ImageIOResolutionPresetManager::ImageIOResolutionPresetManager(ImageIOResolutionPresetManager&& other)
    : EventObject(other)
    , m_file_config_loaded(other.m_file_config_loaded)
    , m_presets(std::move(other.m_presets))
    , m_default_presets(std::move(other.m_default_presets))
    , m_file_presets(std::move(other.m_file_presets))
    , m_preset_enum(other.m_preset_enum)
    , m_app(other.m_app)
{
    watch_application();
}

ImageIOResolutionPresetManager&
ImageIOResolutionPresetManager::operator=(ImageIOResolutionPresetManager const& other)
{
    return *this = ImageIOResolutionPresetManager(other);
}

ImageIOResolutionPresetManager&
ImageIOResolutionPresetManager::operator=(ImageIOResolutionPresetManager&& other)
{
    if (this == &other)
        return *this;
    m_file_config_loaded = other.m_file_config_loaded;
    m_presets = std::move(other.m_presets);
    m_default_presets = std::move(other.m_default_presets);
    m_file_presets = std::move(other.m_file_presets);
    m_preset_enum = other.m_preset_enum;
    if (m_app != other.m_app)
        leave_application();
    m_app = other.m_app;
    watch_application();
    return *this;
}

void ImageIOResolutionPresetManager::watch_application()
{
    if (m_app)
        connect(*m_app, zv_image_io::kEventDestroy, &ImageIOResolutionPresetManager::on_application_destroyed,
                nullptr);
}

void ImageIOResolutionPresetManager::leave_application()
{
    using Manager = ImageIOResolutionPresetManager;
    if (!m_app)
        return;
    disconnect(*m_app, zv_image_io::kEventDestroy, &Manager::on_application_destroyed, nullptr);
    disconnect(*m_app, zv_image_io::kEventPresetFileUseChanged, &Manager::on_use_config_file_changed,
               nullptr);
    disconnect(*m_app, zv_image_io::kEventPresetFilePathChanged, &Manager::on_config_file_path_changed,
               nullptr);
}

void ImageIOResolutionPresetManager::on_application_destroyed(EventObject&, EventObject::EventInfo const&,
                                                              OfObject*)
{
    m_app = nullptr;
    m_preset_enum = nullptr;  // it went with the application's factory
}

bool ImageIOResolutionPresetManager::static_init(OfApp* app)
{
    return guarded(false, [app] {
        if (!m_instance)
            m_instance = new ImageIOResolutionPresetManager(app);
        return m_instance->init();
    });
}

ImageIOResolutionPresetManager* ImageIOResolutionPresetManager::get_instance()
{
    return m_instance;
}

void ImageIOResolutionPresetManager::destroy()
{
    delete std::exchange(m_instance, nullptr);  // which ends its connections
}

bool ImageIOResolutionPresetManager::init()
{
    if (!m_app)
        return false;
    return guarded(false, [this] {
        using Manager = ImageIOResolutionPresetManager;
        bool const has_defaults = init_default_verrane_config();
        if (has_defaults) {
            connect(*m_app, zv_image_io::kEventPresetFileUseChanged, &Manager::on_use_config_file_changed,
                    nullptr);
            connect(*m_app, zv_image_io::kEventPresetFilePathChanged, &Manager::on_config_file_path_changed,
                    nullptr);
        } else {
            log_line(kLogWarning, "Unable to initiliaze the color space manager.\n");
        }
        // The start shows the built-in list whatever the setting says: a file is read when the setting's event comes.
        use_file_config(false);
        update_enum();  // a start fills the enumeration, and raises the event, twice
        return has_defaults;
    });
}

unsigned int ImageIOResolutionPresetManager::get_presets_count() const
{
    return m_presets.get_count();
}

CoreVector<ImageIOResolutionPresetManager::ResolutionPreset> const&
ImageIOResolutionPresetManager::get_resolution_presets() const
{
    return m_presets;
}

unsigned int ImageIOResolutionPresetManager::find_preset(int width, int height) const
{
    for (unsigned int index = 1; index < m_presets.get_count(); ++index)
        if (m_presets[index].width == width && m_presets[index].height == height)
            return index;
    return 0;
}

unsigned int ImageIOResolutionPresetManager::get_preset_index(CoreString name) const
{
    for (unsigned int index = 0; index < m_presets.get_count(); ++index)
        if (m_presets[index].name == name)
            return index;
    return kInvalidIndex;
}

CoreString ImageIOResolutionPresetManager::get_preset_name(unsigned int index) const
{
    return guarded(CoreString(),
                   [&] { return index < m_presets.get_count() ? m_presets[index].name : CoreString(); });
}

void ImageIOResolutionPresetManager::update_file_config_path()
{
    if (!m_app || !m_app->resolution_preset_file_use)
        return;
    guarded([this] {
        take_file_or_default();
        update_enum();
    });
}

void ImageIOResolutionPresetManager::use_file_config(bool const& use)
{
    if (!m_app)
        return;
    if (!use)
        m_presets = m_default_presets;
    else if (!m_file_config_loaded || !m_app->resolution_preset_file_path.is_empty())
        take_file_or_default();
    update_enum();
}

void ImageIOResolutionPresetManager::take_file_or_default()
{
    bool const is_taken = guarded(false, [this] {
        if (!build_from_file(m_app->resolution_preset_file_path))
            return false;
        m_presets = m_file_presets;
        return true;
    });
    if (is_taken)
        return;
    m_file_config_loaded = false;
    log_line(
        kLogWarning,
        "Unable to load the specified resolution presets configuration file, defaulting to Verrane internal "
        "config.\n");
    m_presets = m_default_presets;
}

void ImageIOResolutionPresetManager::on_config_file_path_changed(AppBase&, EventObject::EventInfo const&,
                                                                 OfObject*)
{
    update_file_config_path();
}

void ImageIOResolutionPresetManager::on_use_config_file_changed(AppBase&, EventObject::EventInfo const&,
                                                                OfObject*)
{
    guarded([this] { use_file_config(m_app->resolution_preset_file_use); });
}

void ImageIOResolutionPresetManager::update_enum()
{
    if (!m_app)
        return;
    if (!m_preset_enum)
        m_preset_enum = m_app->get_factory().add_enum("resolution_preset", 0xFFFFFFFF);
    m_preset_enum->asleep();
    try {
        m_preset_enum->remove_all_values();
        fill_enum();
    } catch (...) {
        m_preset_enum->awake(true);  // or nobody would ever hear of it again
        throw;
    }
    m_preset_enum->awake(true);
    raise_event(CoreString(zv_image_io::kEventPresetListChanged));
}

void ImageIOResolutionPresetManager::fill_enum()
{
    constexpr char kSeparator = '|';
    m_preset_enum->set_separator(kSeparator);
    CoreString prefix;
    CoreVector<CoreString> labels;
    CoreVector<int>
        numbers;  // a preset's number is its index in the list, so headings and doubles leave gaps
    CoreHashTable<CoreString, bool> known;  // a table, since a file may have presets by the hundred thousand
    for (unsigned int index = 0; index < m_presets.get_count(); ++index) {
        ResolutionPreset const& preset = m_presets[index];
        if (preset.is_group) {
            prefix = preset.name + kSeparator;
            prefix.replace('_', ' ');
            continue;
        }
        CoreString const label = prefix + preset.name;
        if (known.find(label) || m_preset_enum->find_label_index(label) != m_preset_enum->get_value_count()) {
            log_line(kLogWarning, "Duplicate resolution preset :'", label,
                     "'' is already defined in the current configuration.\n");
            continue;
        }
        known.insert(label, true);
        labels.add(label);
        numbers.add(static_cast<int>(index));
    }
    m_preset_enum->add_values(labels, numbers);
}
