#pragma once

/// The version of the host library that is loaded, "major.minor.patch".
char const* zv_host_version() noexcept;
