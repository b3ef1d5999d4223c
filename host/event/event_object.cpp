#include "host/event/event_object.h"

#include "host/core/core_class_info.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <utility>

namespace {

/// Guards all lists of connections, never a callback. One for all, since a connection stands in two objects'
/// lists; never destroyed, since static objects may outlive it.
std::mutex& connection_mutex()
{
    static std::mutex& instance = *new std::mutex;
    return instance;
}

}  // namespace

class EventObject::FunctionTarget final : public EventObject::Target {
public:
    FunctionTarget(Callback callback, void* user_data)
        : m_callback(callback)
        , m_user_data(user_data)
    {
    }

    void call(EventObject& sender, EventInfo const& info) const override
    {
        m_callback(sender, info, m_user_data);
    }
    bool is_same(Target const& other) const override
    {
        auto const* const same = dynamic_cast<FunctionTarget const*>(&other);
        return same && same->m_callback == m_callback && same->m_user_data == m_user_data;
    }

private:
    Callback m_callback;
    void* m_user_data;
};

struct EventObject::Connection {
    Connection(EventObject* sender, EventObject* listener, CoreString const& event_name,
               std::unique_ptr<Target> call)
        : source(sender)
        , receiver(listener)
        , name(event_name)
        , target(std::move(call))
    {
    }

    bool is_for(CoreString const& event_name, Target const& other) const
    {
        return name == event_name && target->is_same(other);
    }

    EventObject* source;
    EventObject* receiver;  ///< null for a plain function
    CoreString name;
    std::unique_ptr<Target> target;
    std::atomic<bool> is_alive{true};
    bool is_due = false;  ///< to be called by a source that ends
};

EventObject::EventObject() noexcept = default;

EventObject::EventObject(EventObject const& other) noexcept
    : CoreBaseObject(other)
{
}

EventObject& EventObject::operator=(EventObject const&) noexcept
{
    return *this;
}

EventObject::~EventObject()
{
    raise_destroy();
    drop_all_connections();
}

/// Made for the first connection there is: whoever keeps this object's address hears of its end without memory, too.
EventObject::EventInfo const& EventObject::destroy_info()
{
    static EventInfo const& info = *new EventInfo("EVT_ID_DESTROY");  // static objects may outlive all others
    return info;
}

/// Without a list of those to call, for which there may be no memory: an object that ends is raised for once only, so that its
/// connections can note it.
void EventObject::raise_destroy() noexcept
{
    {
        std::lock_guard const guard(connection_mutex());
        for (auto const& connection : m_outgoing)
            connection->is_due = connection->name == destroy_info().m_name;
    }
    while (auto const connection = take_due_connection())
        try {
            connection->target->call(*this, destroy_info());
        } catch (...) {
            // A callback's failure must not end the process.
        }
}

std::shared_ptr<EventObject::Connection> EventObject::take_due_connection()
{
    std::lock_guard const guard(connection_mutex());
    for (auto const& connection : m_outgoing)
        if (std::exchange(connection->is_due, false))
            return connection;
    return nullptr;
}

bool EventObject::is_kindof(CoreClassInfo const& info) const
{
    return get_class_info().is_kindof(info);
}

unsigned long long EventObject::get_memory_size() const
{
    std::lock_guard const guard(connection_mutex());
    return sizeof(EventObject) + (m_outgoing.capacity() + m_incoming.capacity()) * sizeof(m_outgoing[0]) +
           m_outgoing.size() * sizeof(Connection);
}

CoreClassInfo const& EventObject::get_class_info() const
{
    return class_info();
}

CoreClassInfo const& EventObject::class_info()
{
    auto const destructor = [](void* object, bool const&) {
        delete static_cast<EventObject*>(object);
        return true;
    };
    static CoreClassInfo const& record =
        CoreClassInfo::new_class("EventObject", destructor, &CoreBaseObject::class_info(), nullptr);
    return record;
}

void EventObject::connect(EventObject& source, CoreString const& event_name, Callback callback,
                          void* user_data)
{
    add_connection(source, event_name, std::make_unique<FunctionTarget>(callback, user_data), nullptr);
}

bool EventObject::disconnect(EventObject& source, CoreString const& event_name, Callback callback,
                             void* user_data)
{
    return drop_connection(source, event_name, FunctionTarget(callback, user_data));
}

void EventObject::raise_event(CoreString const& event_name)
{
    raise_event(EventInfo(event_name));
}

void EventObject::raise_event(EventInfo const& info)
{
    ConnectionList listeners;
    {
        std::lock_guard const guard(connection_mutex());
        for (auto const& connection : m_outgoing)
            if (connection->name == info.m_name)
                listeners.push_back(connection);
    }
    // From here on the object itself is not looked at: a callback may have destroyed it, and then no
    // connection is alive any more.
    for (auto const& connection : listeners)
        if (connection->is_alive)
            connection->target->call(*connection->source, info);
}

void EventObject::add_connection(EventObject& source, CoreString const& event_name,
                                 std::unique_ptr<Target> target, EventObject* receiver)
{
    destroy_info();
    std::lock_guard const guard(connection_mutex());
    for (auto const& known : source.m_outgoing)
        if (known->is_for(event_name, *target))
            return;
    auto const connection = std::make_shared<Connection>(&source, receiver, event_name, std::move(target));
    if (receiver)
        receiver->m_incoming.reserve(receiver->m_incoming.size() + 1);
    source.m_outgoing.push_back(connection);
    if (receiver)
        receiver->m_incoming.push_back(connection);
}

bool EventObject::drop_connection(EventObject& source, CoreString const& event_name, Target const& target)
{
    std::lock_guard const guard(connection_mutex());
    for (auto const& known : source.m_outgoing)
        if (known->is_for(event_name, target)) {
            std::shared_ptr<Connection> const connection = known;
            connection->is_alive = false;
            if (connection->receiver)
                forget(connection->receiver->m_incoming, connection.get());
            forget(source.m_outgoing, connection.get());
            return true;
        }
    return false;
}

void EventObject::forget(ConnectionList& list, Connection const* connection)
{
    std::erase_if(list, [connection](auto const& entry) { return entry.get() == connection; });
}

void EventObject::drop_all_connections()
{
    std::lock_guard const guard(connection_mutex());
    for (auto const& connection : std::exchange(m_outgoing, {})) {
        connection->is_alive = false;
        if (connection->receiver)
            forget(connection->receiver->m_incoming, connection.get());
    }
    for (auto const& connection : std::exchange(m_incoming, {})) {
        connection->is_alive = false;
        forget(connection->source->m_outgoing, connection.get());
    }
}
