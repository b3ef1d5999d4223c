#include "image_io/plate/plate_image_manager.h"

#include <mutex>
#include <new>
#include <utility>

#include "host/of/of_app.h"
#include "host/of/of_expression.h"
#include "host/sys/sys_filesystem.h"
#include "image_io/frame/event_table.h"
#include "image_io/frame/guarded.h"
#include "image_io/frame/log_line.h"

using zv_image_io::guarded;

using Guard = std::lock_guard<SysThreadLock>;

PlateImageManager* PlateImageManager::s_instance = nullptr;

void PlateImageManager::create(OfApp& app)
{
    destroy();
    guarded([&app] { s_instance = new PlateImageManager(app); });
}

void PlateImageManager::destroy()
{
    delete std::exchange(s_instance, nullptr);  // whoever hears of its end finds none any more
}

PlateImageManager& PlateImageManager::get()
{
    static PlateImageManager& none = *new PlateImageManager;  // static objects may outlive all others
    return s_instance ? *s_instance : none;
}

PlateImageManager::PlateImageManager() = default;

PlateImageManager::PlateImageManager(OfApp& app)
    : m_app(&app)
{
    watch_application();
}

PlateImageManager::PlateImageManager(PlateImageManager const& other)
    : EventObject(other)
    , m_app(other.m_app)
{
    Guard const guard(other.m_lock);
    m_plates = other.m_plates;
    m_paths = other.m_paths;
    watch_application();
}

PlateImageManager::~PlateImageManager()
{
    clear(CLEAR_MODE_SILENT);
}

void PlateImageManager::watch_application()
{
    if (m_app)
        connect(*m_app, zv_image_io::kEventDestroy, &PlateImageManager::on_application_destroyed, nullptr);
}

void PlateImageManager::on_application_destroyed(EventObject&, EventObject::EventInfo const&, OfObject*)
{
    m_app = nullptr;
}

void PlateImageManager::clear(ClearMode mode)
{
    CoreVector<std::shared_ptr<PlateImage>> plates;
    {
        Guard const guard(m_lock);
        std::swap(plates, m_plates);
        m_paths.resize(0);
    }
    if (!plates.is_empty() && mode == CLEAR_MODE_RAISE_EVENT)
        guarded([this] { raise_event(CoreString(zv_image_io::kEventPlatePathsCleared)); });
}

CoreString PlateImageManager::resolve_path(CoreString const& path) const
{
    CoreString resolved =
        SysFilesystem::get_full_file_path(OfExpression::compute_path(path, m_app->get_factory()));
    SysFilesystem::format_path(resolved);
    return resolved;
}

PlateImage* PlateImageManager::get_or_create_plate_image(CoreString const& path)
{
    if (path.is_empty() || !m_app)
        return nullptr;
    return guarded(static_cast<PlateImage*>(nullptr), [&]() -> PlateImage* {
        CoreString const resolved_path = resolve_path(path);
        if (!SysFilesystem::file_exists(resolved_path)) {
            zv_image_io::log_line(zv_image_io::kLogWarning, "Failed to add plate image '", path,
                                  "' : path does not exist or is not a file.\n");
            return nullptr;
        }
        bool is_new_path = false;
        PlateImage* plate = nullptr;
        {
            Guard const guard(m_lock);
            plate = find_or_add_plate(resolved_path);
            is_new_path = add_path(path);
        }
        if (is_new_path)
            raise_path_added(path, *plate);
        return plate;
    });
}

/// Without memory to tell of a path it is not kept: whoever asks for it next tells.
void PlateImageManager::raise_path_added(CoreString const& path, PlateImage& plate)
{
    try {
        raise_event(EventInfo(zv_image_io::kEventPlatePathAdded, &plate));
    } catch (std::bad_alloc const&) {
        Guard const guard(m_lock);
        if (int const index = find_path(path); index != kInvalidIndex)
            m_paths.remove_at(static_cast<unsigned int>(index));
        throw;
    }
}

/// False for a path that is there already.
bool PlateImageManager::add_path(CoreString const& path)
{
    if (find_path(path) != kInvalidIndex)
        return false;
    m_paths.add(std::make_shared<CoreString const>(path));
    return true;
}

PlateImage* PlateImageManager::find_or_add_plate(CoreString const& resolved_path)
{
    int const index = get_plate_image_index(resolved_path);
    if (index != kInvalidIndex)
        return m_plates[static_cast<unsigned int>(index)].get();
    m_plates.add(std::make_shared<PlateImage>(resolved_path));
    return m_plates[m_plates.get_count() - 1].get();
}

int PlateImageManager::get_plate_image_index(CoreString const& path) const
{
    for (unsigned int index = 0; index < m_plates.get_count(); ++index)
        if (m_plates[index] && m_plates[index]->get_file_path() == path)
            return static_cast<int>(index);
    return kInvalidIndex;
}

int PlateImageManager::find_path(CoreString const& path) const
{
    for (unsigned int index = 0; index < m_paths.get_count(); ++index)
        if (*m_paths[index] == path)
            return static_cast<int>(index);
    return kInvalidIndex;
}

CoreString const& PlateImageManager::get_path(unsigned int const& index) const
{
    static CoreString const no_path;
    Guard const guard(m_lock);
    return index < m_paths.get_count() ? *m_paths[index] : no_path;
}

int PlateImageManager::get_path_index(CoreString const& path) const
{
    Guard const guard(m_lock);
    return find_path(path);
}

CoreArray<CoreString> PlateImageManager::get_paths() const
{
    return guarded(CoreArray<CoreString>(), [this] {
        Guard const guard(m_lock);
        CoreArray<CoreString> paths(m_paths.get_count());
        for (unsigned int index = 0; index < m_paths.get_count(); ++index)
            paths[index] = *m_paths[index];
        return paths;
    });
}

/// The numbers are those of the application's memory reports.
unsigned long long PlateImageManager::get_memory_size() const
{
    Guard const guard(m_lock);
    unsigned int const path_slots = m_paths.get_capacity();
    unsigned long long bytes = 128 + (path_slots ? 28 : 16) + 16ull * path_slots;
    for (auto const& plate : m_plates)
        bytes += plate->get_memory_size();
    for (auto const& path : m_paths)
        bytes += path->m_capacity;
    return bytes;
}
