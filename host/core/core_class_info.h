#pragma once

#include "host/core/core_string.h"

/// What the application knows of a class at run time: its name, its base and how an object of it is freed.
///
/// Owns     records live until the process ends; they are compared by address
/// Threads  `new_class` and `find_class` from any thread; a record never changes
class CoreClassInfo {
public:
    /// Frees `object` and says whether it did.
    using Destructor = bool (*)(void* object, bool const& flag);
    /// Runs once, on the finished record.
    using Init = void (*)(CoreClassInfo const& record);

    /// Makes the record of a class. Each class calls it once, from a function-local static of its
    /// `class_info`: `static CoreClassInfo const& record = CoreClassInfo::new_class("Name", destructor,
    /// &Base::class_info(), nullptr);` `destructor` and `init` may be null; `base` is null for the root
    /// alone. A second record of a known name is a record of its own, and the one that `find_class` gives
    /// from then on.
    static CoreClassInfo const& new_class(CoreString const& name, Destructor destructor,
                                          CoreClassInfo const* base, Init init);
    /// The newest record of that name, or null.
    static CoreClassInfo const* find_class(CoreString const& name);

    CoreClassInfo(CoreClassInfo const&) = delete;
    CoreClassInfo& operator=(CoreClassInfo const&) = delete;

    CoreString const& get_name() const noexcept { return m_name; }
    CoreClassInfo const* get_base() const noexcept { return m_base; }
    /// True for the class itself and for each of its bases.
    bool is_kindof(CoreClassInfo const& other) const noexcept;
    /// Hands `object` to the class's destructor function; false without one.
    bool destroy(void* object, bool const& flag) const;

private:
    CoreClassInfo(CoreString const& name, Destructor destructor, CoreClassInfo const* base);

    CoreString m_name;
    Destructor m_destructor;
    CoreClassInfo const* m_base;
};
