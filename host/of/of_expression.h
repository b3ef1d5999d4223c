#pragma once

#include "host/core/core_string.h"

class OfObjectFactory;

/// Texts with variables in them.
class OfExpression {
public:
    /// The path with its variables replaced: "$NAME" and "${NAME}" are looked up among the factory's
    /// variables, then in the environment; "$$" is a dollar sign. A value may hold variables itself, up to 16
    /// deep. What is unknown, too deep or unfinished stays as it is written.
    static CoreString compute_path(CoreString const& path, OfObjectFactory const& factory);
};
