#pragma once

#include <array>
#include <string_view>

#include "host/core/core_hash.h"

namespace zv_image_io {

/// An event of the application: its name, and the identifier that follows from the name.
struct Event {
    char const* name;
    unsigned int id;
};

/// The identifier of any event's name: its hash, known while compiling.
constexpr unsigned int event_id(std::string_view name)
{
    return CoreHash::generate_jenkins(name.data(), static_cast<unsigned int>(name.size()));
}

inline constexpr char const* kEventNames[] = {
    // The application
    "EVT_ID_APPLICATION_AOV_FILE_PATH_CHANGED",
    "EVT_ID_APPLICATION_AOV_FILE_USE_CHANGED",
    "EVT_ID_APPLICATION_CDL_FILE_PATH_CHANGED",
    "EVT_ID_APPLICATION_COLOR_SPACE_BY_EXT_FILE_PATH_CHANGED",
    "EVT_ID_APPLICATION_COLOR_SPACE_FILE_PATH_CHANGED",
    "EVT_ID_APPLICATION_COLOR_SPACE_FILE_USE_CHANGED",
    "EVT_ID_APPLICATION_COLOR_SPACE_NAME_CHANGED",
    "EVT_ID_APPLICATION_COMBINER_PIVOT_CHANGED",
    "EVT_ID_APPLICATION_COMMAND_REGISTER",
    "EVT_ID_APPLICATION_COMMAND_UNREGISTER",
    "EVT_ID_APPLICATION_CURVE_SIZE_MODE_CHANGE",
    "EVT_ID_APPLICATION_DISPLACEMENT_STORAGE_MODE_CHANGED",
    "EVT_ID_APPLICATION_EVALUATION_ENDED",
    "EVT_ID_APPLICATION_EVALUATION_INTERRUPTED",
    "EVT_ID_APPLICATION_EVALUATION_STARTED",
    "EVT_ID_APPLICATION_GIZMO_SIZE_CHANGE",
    "EVT_ID_APPLICATION_IDLE",
    "EVT_ID_APPLICATION_IMPORT_VARIABLES_MODE_CHANGED",
    "EVT_ID_APPLICATION_MODULES_LOADED",
    "EVT_ID_APPLICATION_MOTION_BLUR_CHANGED",
    "EVT_ID_APPLICATION_OPENVDB_CHANGED",
    "EVT_ID_APPLICATION_PRE_EVALUATION_START",
    "EVT_ID_APPLICATION_PROGRESS_BARS_CHANGED",
    "EVT_ID_APPLICATION_PROJECT_LOAD_END",
    "EVT_ID_APPLICATION_PROJECT_LOAD_START",
    "EVT_ID_APPLICATION_PROJECT_SAVE_END",
    "EVT_ID_APPLICATION_PROJECT_SAVE_START",
    "EVT_ID_APPLICATION_RES_PRESET_FILE_PATH_CHANGED",
    "EVT_ID_APPLICATION_RES_PRESET_FILE_USE_CHANGED",
    "EVT_ID_APPLICATION_SHELF_SIZE_CHANGE",
    "EVT_ID_APPLICATION_TEXTURE_CACHE_CHANGED",
    "EVT_ID_APPLICATION_TIMELINE_KF_DISPLAY_CHANGED",
    // Managers, editors and variables
    "EVT_ID_CHANNELMANAGER_GROUP_CHANGE",
    "EVT_ID_CLASS_FACTORY_ADD_CLASS",
    "EVT_ID_COLORIO_COLOR_SPACE_BY_EXTENSION_CHANGED",
    "EVT_ID_COLORIO_MANAGER_CDL_LIST_CHANGED",
    "EVT_ID_COLORIO_MANAGER_LUT_LIST_CHANGED",
    "EVT_ID_CURVE_MODIFIED",
    "EVT_ID_CURVE_VIRTUAL_KEY_MODIFIED",
    "EVT_ID_DESTROY",
    "EVT_ID_GEOMETRY_SUBDIVISION_MODE_CHANGED",
    "EVT_ID_GEOMETRY_VISIBILITY_MODE_CHANGED",
    "EVT_ID_KEY_TYPE_MODIFIED",
    "EVT_ID_NV_OBJECT_RAWATTR_CHANGE",
    "EVT_ID_PLATE_IMAGE_MANAGER_PATHS_CLEARED",
    "EVT_ID_PLATE_IMAGE_MANAGER_PATH_ADDED",
    "EVT_ID_PROJECTION_MASTER_EYE_CHANGED",
    "EVT_ID_RESOLUTION_PRESET_MANAGER_LIST_CHANGED",
    "EVT_ID_ROLE_SCENE_LINEAR_CHANGED",
    "EVT_ID_VARS_ADD_VARIABLE",
    "EVT_ID_VARS_REMOVE_ALL",
    "EVT_ID_VARS_REMOVE_VARIABLE",
    "EVT_ID_VARS_VARIABLE_CHANGED",
    "EVT_ID_VARS_VARIABLE_RANGES_CHANGED",
    // Objects, their attributes and contexts
    "EVT_ID_OF_ADD_CONTEXT",
    "EVT_ID_OF_ADD_EMBEDDED_OBJECT",
    "EVT_ID_OF_ADD_ENUM",
    "EVT_ID_OF_ADD_OBJECT",
    "EVT_ID_OF_ASSEMBLY_CONTAINER_CONTENT_CHANGED",
    "EVT_ID_OF_ASSEMBLY_CONTAINER_CONTENT_EDIT",
    "EVT_ID_OF_ASSEMBLY_CONTAINER_CONTENT_SET_DIRTY",
    "EVT_ID_OF_ATTR_CHANGE_BATCH_BEGIN",
    "EVT_ID_OF_ATTR_CHANGE_BATCH_END",
    "EVT_ID_OF_CAM_REMOVED",
    "EVT_ID_OF_CAM_TARGETED",
    "EVT_ID_OF_CONTEXT_DESTROY",
    "EVT_ID_OF_CONTEXT_ENGINE_SWITCH",
    "EVT_ID_OF_CONTEXT_LOAD_CHANGED",
    "EVT_ID_OF_DESERIALIZED_CONTEXT",
    "EVT_ID_OF_DESERIALIZED_CONTEXT_OBJECTS",
    "EVT_ID_OF_DESERIALIZE_BEGIN",
    "EVT_ID_OF_DESERIALIZE_END",
    "EVT_ID_OF_ENUM_CHANGE",
    "EVT_ID_OF_ITEM_COLORTAG_CHANGED",
    "EVT_ID_OF_ITEM_COLORTAG_PRE_CHANGE",
    "EVT_ID_OF_ITEM_COMMENT_CHANGE",
    "EVT_ID_OF_ITEM_COMMENT_PRE_CHANGE",
    "EVT_ID_OF_ITEM_FLAGS",
    "EVT_ID_OF_ITEM_LOCK",
    "EVT_ID_OF_ITEM_NODAL_PROPERTY_CHANGED",
    "EVT_ID_OF_ITEM_POSITION_CHANGED",
    "EVT_ID_OF_ITEM_SHADOW",
    "EVT_ID_OF_ITEM_STATE_CHANGE",
    "EVT_ID_OF_OBJECT_ATTR_ADDED",
    "EVT_ID_OF_OBJECT_ATTR_CHANGE",
    "EVT_ID_OF_OBJECT_ATTR_CURVE_ADDED",
    "EVT_ID_OF_OBJECT_ATTR_CURVE_REMOVED",
    "EVT_ID_OF_OBJECT_ATTR_ERROR",
    "EVT_ID_OF_OBJECT_ATTR_FLAGS",
    "EVT_ID_OF_OBJECT_ATTR_LOCALIZE",
    "EVT_ID_OF_OBJECT_ATTR_REMOVED",
    "EVT_ID_OF_OBJECT_ATTR_REMOVE_ALL",
    "EVT_ID_OF_OBJECT_ATTR_VALIDATOR_SET_VALUE",
    "EVT_ID_OF_OBJECT_ATTR_VISUALS",
    "EVT_ID_OF_OBJECT_CONTEXT_CHANGED",
    "EVT_ID_OF_OBJECT_DELETE",
    "EVT_ID_OF_OBJECT_DEPENDENCY",
    "EVT_ID_OF_OBJECT_DESTROY",
    "EVT_ID_OF_OBJECT_DIRTINESS",
    "EVT_ID_OF_OBJECT_INSTANCE",
    "EVT_ID_OF_OBJECT_LOCALIZE",
    "EVT_ID_OF_OBJECT_PRE_RENAME",
    "EVT_ID_OF_OBJECT_PROTECT",
    "EVT_ID_OF_OBJECT_REFERENCE",
    "EVT_ID_OF_OBJECT_RENAME",
    "EVT_ID_OF_OBJECT_SOURCE",
    "EVT_ID_OF_OBJECT_UNLOCALIZE",
    "EVT_ID_OF_PASTE_CONTEXT",
    "EVT_ID_OF_PASTE_OBJECT",
    "EVT_ID_OF_PENDING_PROMOTE",
    "EVT_ID_OF_REMOVE_ALL_CONTEXTS",
    "EVT_ID_OF_REMOVE_ALL_OBJECTS",
    "EVT_ID_OF_REMOVE_CONTEXT",
    "EVT_ID_OF_REMOVE_EMBEDDED_OBJECT",
    "EVT_ID_OF_REMOVE_ENUM",
    "EVT_ID_OF_REMOVE_OBJECT",
    "EVT_ID_OF_RENAME_CONTEXT",
    "EVT_ID_OF_REORDER_CONTEXT",
};

/// All events that the module knows of.
inline constexpr auto kEvents = [] {
    std::array<Event, std::size(kEventNames)> events{};
    for (std::size_t index = 0; index < events.size(); ++index)
        events[index] = {kEventNames[index], event_id(kEventNames[index])};
    return events;
}();

static_assert(
    [] {
        for (std::size_t one = 0; one < kEvents.size(); ++one)
            for (std::size_t other = 0; other < one; ++other)
                if (kEvents[one].id == kEvents[other].id)
                    return false;
        return true;
    }(),
    "every event has an identifier of its own");

// The events that the module itself raises or hears.

inline constexpr char kEventDestroy[] = "EVT_ID_DESTROY";
inline constexpr char kEventPlatePathAdded[] = "EVT_ID_PLATE_IMAGE_MANAGER_PATH_ADDED";
inline constexpr char kEventPlatePathsCleared[] = "EVT_ID_PLATE_IMAGE_MANAGER_PATHS_CLEARED";
inline constexpr char kEventPresetListChanged[] = "EVT_ID_RESOLUTION_PRESET_MANAGER_LIST_CHANGED";
inline constexpr char kEventPresetFilePathChanged[] = "EVT_ID_APPLICATION_RES_PRESET_FILE_PATH_CHANGED";
inline constexpr char kEventPresetFileUseChanged[] = "EVT_ID_APPLICATION_RES_PRESET_FILE_USE_CHANGED";

/// True for a name of the table; the names above must be.
constexpr bool is_event(std::string_view name)
{
    for (Event const& event : kEvents)
        if (name == event.name)
            return true;
    return false;
}

static_assert(is_event(kEventDestroy) && is_event(kEventPlatePathAdded) &&
              is_event(kEventPlatePathsCleared) && is_event(kEventPresetListChanged) &&
              is_event(kEventPresetFilePathChanged) && is_event(kEventPresetFileUseChanged));

}  // namespace zv_image_io
