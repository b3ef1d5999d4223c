#pragma once

#include "host/core/core_base_object.h"
#include "host/core/core_string.h"

#include <memory>
#include <type_traits>
#include <vector>

/// The base of every object that can raise events and hear those of others.
///
/// Connections   source, event name, callback and user data together are one connection, made any number of
///               times; callbacks run in the order of connecting
/// In callbacks  connecting, disconnecting and destroying (the sender too) is safe: a connection that ends is
///               not called any more, one that begins waits for the next event
/// Lifetime      the destructor raises "EVT_ID_DESTROY" and then drops the connections in both directions; by
///               then the object is an `EventObject` alone, so callbacks of that event take the sender as one
/// Copies        take no connections with them; an assignment leaves those of its target alone
/// Threads       connections may be made and dropped on any thread; callbacks run on the thread that raises,
///               outside of locks. An object must not be destroyed while another thread is inside one of its
///               callbacks.
class EventObject : public CoreBaseObject {
public:
    /// What a callback is told: the event's name, and a pointer whose meaning belongs to the event.
    struct EventInfo {
        explicit EventInfo(CoreString const& name, void* data = nullptr)
            : m_name(name)
            , m_data(data)
        {
        }

        CoreString m_name;
        void* m_data;
    };

    using Callback = void (*)(EventObject& sender, EventInfo const& info, void* user_data);

    EventObject() noexcept;
    EventObject(EventObject const& other) noexcept;
    EventObject& operator=(EventObject const& other) noexcept;
    ~EventObject() override;

    bool is_kindof(CoreClassInfo const& info) const override;
    /// Bytes held by the object, those behind its pointers included.
    virtual unsigned long long get_memory_size() const;
    virtual CoreClassInfo const& get_class_info() const;
    static CoreClassInfo const& class_info();

    /// Calls `callback` with `user_data` for each event of that name that `source` raises.
    static void connect(EventObject& source, CoreString const& event_name, Callback callback,
                        void* user_data);
    /// Ends such a connection; false if there was none.
    static bool disconnect(EventObject& source, CoreString const& event_name, Callback callback,
                           void* user_data);

    /// Calls a member function of this object, the receiver, which must be of the class `Receiver`. The
    /// connection ends with either object. `Sender` is the class of the source, or a base of it.
    template <class Receiver, class Sender, class Data>
    void connect(EventObject& source, CoreString const& event_name,
                 void (Receiver::*callback)(Sender&, EventInfo const&, Data*),
                 std::type_identity_t<Data>* user_data)
    {
        using Target = MemberTarget<Receiver, Sender, Data>;
        auto target = std::make_unique<Target>(static_cast<Receiver&>(*this), callback, user_data);
        add_connection(source, event_name, std::move(target), this);
    }
    /// Ends such a connection; false if there was none.
    template <class Receiver, class Sender, class Data>
    bool disconnect(EventObject& source, CoreString const& event_name,
                    void (Receiver::*callback)(Sender&, EventInfo const&, Data*),
                    std::type_identity_t<Data>* user_data)
    {
        using Target = MemberTarget<Receiver, Sender, Data>;
        return drop_connection(source, event_name,
                               Target(static_cast<Receiver&>(*this), callback, user_data));
    }

    /// Calls what is connected to the event. The object may be gone when it returns, if a callback destroyed
    /// it.
    void raise_event(CoreString const& event_name);
    void raise_event(EventInfo const& info);

private:
    /// What a connection calls, whatever its kind.
    class Target {
    public:
        virtual ~Target() = default;
        virtual void call(EventObject& sender, EventInfo const& info) const = 0;
        virtual bool is_same(Target const& other) const = 0;
    };
    class FunctionTarget;
    template <class Receiver, class Sender, class Data>
    class MemberTarget;
    struct Connection;
    using ConnectionList = std::vector<std::shared_ptr<Connection>>;

    static void add_connection(EventObject& source, CoreString const& event_name,
                               std::unique_ptr<Target> target, EventObject* receiver);
    static bool drop_connection(EventObject& source, CoreString const& event_name, Target const& target);
    static void forget(ConnectionList& list, Connection const* connection);
    static EventInfo const& destroy_info();
    void raise_destroy() noexcept;
    std::shared_ptr<Connection> take_due_connection();
    void drop_all_connections();

    ConnectionList m_outgoing;
    ConnectionList m_incoming;
};

template <class Receiver, class Sender, class Data>
class EventObject::MemberTarget final : public EventObject::Target {
public:
    using Member = void (Receiver::*)(Sender&, EventInfo const&, Data*);

    MemberTarget(Receiver& receiver, Member member, Data* data)
        : m_receiver(receiver)
        , m_member(member)
        , m_data(data)
    {
    }

    void call(EventObject& sender, EventInfo const& info) const override
    {
        (m_receiver.*m_member)(static_cast<Sender&>(sender), info, m_data);
    }
    bool is_same(Target const& other) const override
    {
        auto const* const same = dynamic_cast<MemberTarget const*>(&other);
        return same && &same->m_receiver == &m_receiver && same->m_member == m_member &&
               same->m_data == m_data;
    }

private:
    Receiver& m_receiver;
    Member m_member;
    Data* m_data;
};
