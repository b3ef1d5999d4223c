// Everything of the host surface, for an application that embeds the module.
//
// An application with a host of its own makes a CMake target `zv_host` before it adds this project: its
// headers carry the names of ours, and only the module is built. Beside the operations of the host libraries
// the module asks for these of ours: `BandSource`, `ImageMap::fill_rows` and `ImageMapChannel::fill_rows`,
// which take apart what was read in one pass, and `AppProgressBar::set_task_increment`.
#pragma once

#include "host/version.h"

#include "host/core/core_128_bit_hash_key.h"
#include "host/core/core_array.h"
#include "host/core/core_base_object.h"
#include "host/core/core_base_type.h"
#include "host/core/core_basic_array.h"
#include "host/core/core_basic_string.h"
#include "host/core/core_class_info.h"
#include "host/core/core_hash.h"
#include "host/core/core_hash_table.h"
#include "host/core/core_hash_table_dense.h"
#include "host/core/core_hash_table_sparse.h"
#include "host/core/core_log_handler.h"
#include "host/core/core_log_stream.h"
#include "host/core/core_string.h"
#include "host/core/core_variant.h"
#include "host/core/core_vector.h"
#include "host/core/core_version.h"
#include "host/core/unique_string.h"

#include "host/sys/sys_filesystem.h"
#include "host/sys/sys_memory.h"
#include "host/sys/sys_statistic.h"
#include "host/sys/sys_thread_lock.h"
#include "host/sys/sys_thread_lock_recursive.h"
#include "host/sys/sys_timer.h"

#include "host/event/event_debug_collisions.h"
#include "host/event/event_object.h"

#include "host/gmath/gmath_units.h"
#include "host/gmath/gmath_vec2.h"
#include "host/gmath/gmath_vec4.h"

#include "host/resource/resource_data.h"
#include "host/resource/resource_user.h"

#include "host/app_base/app_base.h"
#include "host/app_base/app_progress_bar.h"

#include "host/of/of_app.h"
#include "host/of/of_attr.h"
#include "host/of/of_channel_manager.h"
#include "host/of/of_enum.h"
#include "host/of/of_expression.h"
#include "host/of/of_object.h"
#include "host/of/of_object_factory.h"
#include "host/of/of_vars.h"

#include "host/parser/parser_entry.h"
#include "host/parser/parser_file.h"
#include "host/parser/parser_group.h"

#include "host/image/band_source.h"
#include "host/image/image_canvas.h"
#include "host/image/image_eval_context.h"
#include "host/image/image_map.h"
#include "host/image/image_map_channel.h"
#include "host/image/image_map_pyramid.h"
#include "host/image/image_map_tile.h"
#include "host/image/image_map_tile_handle.h"
#include "host/image/image_pixel.h"
#include "host/image/image_process.h"
#include "host/image/image_tile_factory.h"
#include "host/colorio/color_io.h"
#include "host/colorio/color_io_auto_detection.h"
#include "host/colorio/color_io_converter.h"
#include "host/colorio/color_io_manager.h"
