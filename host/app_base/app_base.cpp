#include "host/app_base/app_base.h"

#include "host/core/core_class_info.h"

#include <algorithm>
#include <iterator>

namespace {

/// Holds a lock of the host for a scope.
class Guard {
public:
    explicit Guard(SysThreadLock& lock)
        : m_lock(lock)
    {
        m_lock.lock(SysThreadLock::DURATION_WAIT);
    }
    ~Guard() { m_lock.unlock(); }
    Guard(Guard const&) = delete;
    Guard& operator=(Guard const&) = delete;

private:
    SysThreadLock& m_lock;
};

}  // namespace

AppBase::AppBase() = default;

AppBase::~AppBase() = default;

CoreClassInfo const& AppBase::get_class_info() const
{
    return class_info();
}

CoreClassInfo const& AppBase::class_info()
{
    auto const destructor = [](void* object, bool const&) {
        delete static_cast<AppBase*>(object);
        return true;
    };
    static CoreClassInfo const& record =
        CoreClassInfo::new_class("AppBase", destructor, &EventObject::class_info(), nullptr);
    return record;
}

AppProgressBar* AppBase::create_progress_bar(CoreString const& title, bool cancellable, bool modal)
{
    std::unique_ptr<AppProgressBar> owner = make_progress_bar(title, cancellable, modal);
    AppProgressBar* const bar = owner.get();
    // Finished bars die outside of the lock: a renderer's destructor may draw.
    std::vector<std::unique_ptr<AppProgressBar>> finished;
    {
        Guard const guard(m_lock);
        auto const first_finished = std::stable_partition(m_progress_bars.begin(), m_progress_bars.end(),
                                                          [](auto const& held) { return !held->m_finished; });
        std::move(first_finished, m_progress_bars.end(), std::back_inserter(finished));
        m_progress_bars.erase(first_finished, m_progress_bars.end());
        m_progress_bars.push_back(std::move(owner));
    }
    raise_event("EVT_ID_APPLICATION_PROGRESS_BARS_CHANGED");
    return bar;
}

unsigned int AppBase::get_progress_bar_count() const
{
    Guard const guard(m_lock);
    return static_cast<unsigned int>(m_progress_bars.size());
}

std::unique_ptr<AppProgressBar> AppBase::make_progress_bar(CoreString const& title, bool, bool)
{
    return std::make_unique<AppProgressBar>(title);
}
