#pragma once

#include <algorithm>

namespace zvio {

/// How the program ends. Of several files the highest counts.
enum ExitCode {
    EXIT_CODE_SUCCESS = 0,
    EXIT_CODE_FAILURE = 1,          ///< whatever the others do not name
    EXIT_CODE_USAGE = 2,            ///< the command line asks for what there is not
    EXIT_CODE_INPUT = 3,            ///< a file that is missing, unreadable or of no known format
    EXIT_CODE_NOTHING_TO_SAVE = 4,  ///< no channels, or a region without extent
    EXIT_CODE_CANNOT_WRITE = 5,     ///< a file that could not be created
    EXIT_CODE_WRITE_FAILED = 6,     ///< a file that failed while it was written
    EXIT_CODE_DAMAGE = 7,           ///< a file of which parts are lost, where all of it was asked for
    EXIT_CODE_DIFFERENCES = 8,      ///< pictures that differ by more than they may
    EXIT_CODE_INTERRUPTED = 130,    ///< ended by the user
};

inline ExitCode worse(ExitCode first, ExitCode second)
{
    return std::max(first, second);
}

}  // namespace zvio
