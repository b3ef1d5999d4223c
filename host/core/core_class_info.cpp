#include "host/core/core_class_info.h"

#include "host/core/core_base_object.h"
#include "host/core/core_base_type.h"

#include <memory>
#include <mutex>
#include <vector>

namespace {

struct Registry {
    std::mutex mutex;
    std::vector<std::unique_ptr<CoreClassInfo const>> records;
};

/// Never destroyed: objects that outlive `main` still ask for their class.
Registry& registry()
{
    static Registry& instance = *new Registry;
    return instance;
}

}  // namespace

CoreClassInfo::CoreClassInfo(CoreString const& name, Destructor destructor, CoreClassInfo const* base)
    : m_name(name)
    , m_destructor(destructor)
    , m_base(base)
{
}

CoreClassInfo const& CoreClassInfo::new_class(CoreString const& name, Destructor destructor,
                                              CoreClassInfo const* base, Init init)
{
    std::unique_ptr<CoreClassInfo const> owner(new CoreClassInfo(name, destructor, base));
    CoreClassInfo const& record = *owner;
    {
        std::lock_guard const guard(registry().mutex);
        registry().records.push_back(std::move(owner));
    }
    if (init)
        init(record);
    return record;
}

CoreClassInfo const* CoreClassInfo::find_class(CoreString const& name)
{
    std::lock_guard const guard(registry().mutex);
    auto const& records = registry().records;
    for (auto record = records.rbegin(); record != records.rend(); ++record)
        if ((*record)->get_name() == name)
            return record->get();
    return nullptr;
}

bool CoreClassInfo::is_kindof(CoreClassInfo const& other) const noexcept
{
    for (CoreClassInfo const* record = this; record; record = record->m_base)
        if (record == &other)
            return true;
    return false;
}

bool CoreClassInfo::destroy(void* object, bool const& flag) const
{
    return m_destructor && m_destructor(object, flag);
}

CoreClassInfo const& CoreBaseType::class_info()
{
    static CoreClassInfo const& record = CoreClassInfo::new_class("CoreBaseType", nullptr, nullptr, nullptr);
    return record;
}

CoreBaseObject::~CoreBaseObject() = default;

bool CoreBaseObject::is_kindof(CoreClassInfo const& info) const
{
    return class_info().is_kindof(info);
}

CoreClassInfo const& CoreBaseObject::class_info()
{
    auto const destructor = [](void* object, bool const&) {
        delete static_cast<CoreBaseObject*>(object);
        return true;
    };
    static CoreClassInfo const& record =
        CoreClassInfo::new_class("CoreBaseObject", destructor, &CoreBaseType::class_info(), nullptr);
    return record;
}
