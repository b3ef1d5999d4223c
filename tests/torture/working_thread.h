#pragma once

#include <sys/types.h>

namespace zv_torture {

/// A thread of this process that is at work, other than the one that asks; 0 if all wait. May be asked in a signal handler.
pid_t working_thread();

}  // namespace zv_torture
