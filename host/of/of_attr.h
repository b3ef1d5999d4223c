#pragma once

#include "host/core/core_basic_array.h"
#include "host/core/core_string.h"
#include "host/core/core_vector.h"

/// One attribute: a name with a list of text values.
class OfAttr {
public:
    explicit OfAttr(CoreString const& name)
        : m_name(name)
    {
    }

    CoreString const& get_name() const noexcept { return m_name; }
    unsigned int get_value_count() const noexcept { return m_values.get_count(); }

    /// The value at `index`. Attributes here have page 0 alone; empty for any other page or an index past the
    /// end. `evaluated` asks for the value as expressions leave it, which for a plain text is the text.
    CoreString get_string(unsigned int index = 0, unsigned int page = 0, bool evaluated = true) const;
    /// Makes `value` the only value.
    void set_string(CoreString const& value);
    void add_string(CoreString const& value);

private:
    CoreString m_name;
    CoreVector<CoreString> m_values;
};
