#include "host/of/of_enum.h"

#include "host/core/core_class_info.h"

#include <algorithm>
#include <utility>

CoreClassInfo const& OfEnum::get_class_info() const
{
    return class_info();
}

CoreClassInfo const& OfEnum::class_info()
{
    auto const destructor = [](void* object, bool const&) {
        delete static_cast<OfEnum*>(object);
        return true;
    };
    static CoreClassInfo const& record =
        CoreClassInfo::new_class("OfEnum", destructor, &OfObject::class_info(), nullptr);
    return record;
}

void OfEnum::asleep() noexcept
{
    m_asleep = true;
}

void OfEnum::awake(bool notify)
{
    m_asleep = false;
    if (std::exchange(m_changed_in_sleep, false) && notify)
        changed();
}

void OfEnum::remove_all_values()
{
    m_labels.clear();
    m_values.clear();
    changed();
}

void OfEnum::add_values(CoreBasicArray<CoreString> const& labels, CoreBasicArray<int> const& values)
{
    unsigned int const count = std::min(labels.get_count(), values.get_count());
    for (unsigned int i = 0; i < count; ++i) {
        m_labels.add(labels[i]);
        m_values.add(values[i]);
    }
    changed();
}

void OfEnum::set_separator(char separator)
{
    if (std::exchange(m_separator, separator) != separator)
        changed();
}

unsigned int OfEnum::find_label_index(CoreString const& label) const noexcept
{
    return std::min(m_labels.find_index(label), get_value_count());
}

void OfEnum::changed()
{
    if (m_asleep)
        m_changed_in_sleep = true;
    else
        raise_event("EVT_ID_OF_ENUM_CHANGE");
}
