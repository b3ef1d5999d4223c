#pragma once

/// Gives free heap memory back to the system. It takes time with a large heap; call it after big jobs only.
void sys_release_unused_memory() noexcept;
