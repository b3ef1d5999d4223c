#pragma once

// Everything that the module shows, for an application that embeds it.

#include "image_io/format/image_io_file_format.h"
#include "image_io/frame/export.h"
#include "image_io/frame/image_io.h"
#include "image_io/frame/version.h"
#include "image_io/load/color_space_rules.h"
#include "image_io/load/image_header.h"
#include "image_io/load/image_io_load.h"
#include "image_io/load/image_load_options.h"
#include "image_io/load/image_load_report.h"
#include "image_io/save/image_io_exr_utils.h"
#include "image_io/save/image_io_output.h"
#include "image_io/save/image_io_outputs.h"
#include "image_io/save/image_io_save.h"
#include "image_io/save/image_io_save_private.h"
#include "image_io/save/image_save_options.h"
