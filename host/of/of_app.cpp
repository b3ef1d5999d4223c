#include "host/of/of_app.h"

#include "host/core/core_class_info.h"

OfApp::OfApp() = default;

OfApp::~OfApp() = default;

CoreClassInfo const& OfApp::get_class_info() const
{
    return class_info();
}

CoreClassInfo const& OfApp::class_info()
{
    auto const destructor = [](void* object, bool const&) {
        delete static_cast<OfApp*>(object);
        return true;
    };
    static CoreClassInfo const& record =
        CoreClassInfo::new_class("OfApp", destructor, &AppBase::class_info(), nullptr);
    return record;
}

OfObjectFactory& OfApp::get_factory()
{
    return m_factory;
}
