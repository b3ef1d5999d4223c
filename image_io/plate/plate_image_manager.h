#pragma once

#include <memory>

#include "host/core/core_array.h"
#include "host/core/core_string.h"
#include "host/core/core_vector.h"
#include "host/event/event_object.h"
#include "host/sys/sys_thread_lock.h"
#include "image_io/frame/export.h"
#include "image_io/plate/plate_image.h"

class OfApp;
class OfObject;

/// The catalogue of plate images: one plate a file, and the list of the paths that were asked for.
///
/// Events   "EVT_ID_PLATE_IMAGE_MANAGER_PATH_ADDED", with the plate as its data, and
///          "EVT_ID_PLATE_IMAGE_MANAGER_PATHS_CLEARED"; both are raised outside of the lock
/// Owns     the plates, until `clear`; copies of the catalogue share them
/// Errors   nothing throws but a copy without memory; null, and the log says why, if there is memory
/// Threads  any number; `create`, `destroy` and copies belong to one thread
class ZV_IMAGE_IO_EXPORT PlateImageManager : public EventObject {
public:
    static constexpr int kInvalidIndex = -1;

    enum ClearMode : int {
        CLEAR_MODE_SILENT = 0,
        CLEAR_MODE_RAISE_EVENT = 1,  ///< if there were plates
    };

    /// Makes the instance; one that there is ends first.
    static void create(OfApp& app);
    static void destroy();
    /// The instance; without one a catalogue that is empty and stays so.
    static PlateImageManager& get();

    PlateImageManager(PlateImageManager const& other);
    PlateImageManager& operator=(PlateImageManager const& other) = delete;
    ~PlateImageManager() override;

    /// Forgets all plates and paths.
    void clear(ClearMode mode);

    /// The plate of a file. Variables in the path count, and different paths to one file give one plate. Null for an
    /// empty path, and for a file that does not exist, which is logged at level 2.
    PlateImage* get_or_create_plate_image(CoreString const& path);

    /// A path as it was asked for, good until `clear`; empty past the end.
    CoreString const& get_path(unsigned int const& index) const;
    /// Index of exactly that path, or `kInvalidIndex`.
    int get_path_index(CoreString const& path) const;
    CoreArray<CoreString> get_paths() const;

    unsigned long long get_memory_size() const override;
    /// A report at level 3, line by line.
    void log_statistics() const;

protected:
    explicit PlateImageManager(OfApp& app);

private:
    /// The catalogue that stands in where there is none.
    PlateImageManager();

    void watch_application();
    void on_application_destroyed(EventObject& sender, EventObject::EventInfo const& info, OfObject* data);
    int get_plate_image_index(CoreString const& path) const;
    int find_path(CoreString const& path) const;
    CoreString resolve_path(CoreString const& path) const;
    bool add_path(CoreString const& path);
    void raise_path_added(CoreString const& path, PlateImage& plate);
    PlateImage* find_or_add_plate(CoreString const& resolved_path);

    OfApp* m_app = nullptr;  // null once it is gone
    CoreVector<std::shared_ptr<PlateImage>> m_plates;
    CoreVector<std::shared_ptr<CoreString const>>
        m_paths;  // where they are does not change while the list grows
    mutable SysThreadLock m_lock;

    static PlateImageManager* s_instance;
};
