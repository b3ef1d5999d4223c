#pragma once

namespace zv_host {

/// The OpenColorIO configuration that serves without a file: text of a .ocio file.
extern char const* const kBuiltInColorConfig;

}  // namespace zv_host
