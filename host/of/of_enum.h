#pragma once

#include "host/core/core_basic_array.h"
#include "host/core/core_vector.h"
#include "host/of/of_object.h"

/// A named list of labels, each with a number, that the application offers in its menus.
///
/// Menus    a label with the separator in it stands in a submenu: "Film|2K" is the item "2K" of the submenu
///          "Film"
/// Events   "EVT_ID_OF_ENUM_CHANGE" after each change; none while asleep
class OfEnum : public OfObject {
public:
    OfEnum(CoreString const& name, unsigned int flags)
        : OfObject(name)
        , m_flags(flags)
    {
    }

    CoreClassInfo const& get_class_info() const override;
    static CoreClassInfo const& class_info();

    unsigned int get_flags() const noexcept { return m_flags; }

    /// Holds events back until `awake`.
    void asleep() noexcept;
    /// Ends the sleep; with `notify`, one event tells of all that changed meanwhile.
    void awake(bool notify);
    bool is_asleep() const noexcept { return m_asleep; }

    void remove_all_values();
    /// Appends label i with number i; of lists of different length the shorter one counts.
    void add_values(CoreBasicArray<CoreString> const& labels, CoreBasicArray<int> const& values);
    void set_separator(char separator);
    char get_separator() const noexcept { return m_separator; }

    unsigned int get_value_count() const noexcept { return m_labels.get_count(); }
    /// Index of the label, or the value count where there is none.
    unsigned int find_label_index(CoreString const& label) const noexcept;
    /// Label and number at an index below the value count.
    CoreString const& get_label(unsigned int index) const noexcept { return m_labels[index]; }
    int get_value(unsigned int index) const noexcept { return m_values[index]; }

private:
    void changed();

    unsigned int m_flags;
    bool m_asleep = false;
    bool m_changed_in_sleep = false;
    char m_separator = '|';
    CoreVector<CoreString> m_labels;
    CoreVector<int> m_values;
};
