#include "host/event/event_object.h"

#include "host/core/core_class_info.h"
#include "host/resource/resource_user.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using EventInfo = EventObject::EventInfo;

/// What the plain callbacks of these tests are given as user data.
struct Record {
    std::vector<std::string> names;
    std::vector<EventObject*> senders;
    std::vector<void*> data;
    std::function<void()> action;
};

void note(EventObject& sender, EventInfo const& info, void* user_data)
{
    auto& record = *static_cast<Record*>(user_data);
    record.names.emplace_back(info.m_name.view());
    record.senders.push_back(&sender);
    record.data.push_back(info.m_data);
    if (record.action)
        record.action();
}

void note_also(EventObject& sender, EventInfo const& info, void* user_data)
{
    note(sender, info, user_data);
}

class Source : public EventObject {
public:
    int number = 5;
};

/// Hears events with a member function that takes the sender's own class and typed data.
class Listener : public EventObject {
public:
    void listen(Source& source, char const* event, int* data)
    {
        connect(source, event, &Listener::on_event, data);
    }
    bool stop(Source& source, char const* event, int* data)
    {
        return disconnect(source, event, &Listener::on_event, data);
    }

    void on_event(Source& sender, EventInfo const& info, int* data)
    {
        ++calls;
        last_number = sender.number;
        last_name = info.m_name;
        last_data = data;
        // A copy, since the action may destroy this object.
        if (auto const kept = action)
            kept();
    }

    int calls = 0;
    int last_number = 0;
    CoreString last_name;
    int* last_data = nullptr;
    std::function<void()> action;
};

TEST(EventObject, CallsAPlainFunction)
{
    Source source;
    Record record;
    int payload = 0;
    EventObject::connect(source, "EVT_A", note, &record);
    source.raise_event("EVT_A");
    source.raise_event("EVT_B");
    source.raise_event(EventInfo("EVT_A", &payload));

    EXPECT_EQ(record.names, (std::vector<std::string>{"EVT_A", "EVT_A"}));
    EXPECT_EQ(record.senders, (std::vector<EventObject*>{&source, &source}));
    EXPECT_EQ(record.data, (std::vector<void*>{nullptr, &payload}));
}

TEST(EventObject, CallsAMemberFunctionWithTypedSenderAndData)
{
    Source source;
    Listener listener;
    int data = 0;
    listener.listen(source, "EVT_A", &data);
    source.raise_event("EVT_A");

    EXPECT_EQ(listener.calls, 1);
    EXPECT_EQ(listener.last_number, 5);
    EXPECT_EQ(listener.last_name, "EVT_A");
    EXPECT_EQ(listener.last_data, &data);
}

TEST(EventObject, CallsInTheOrderOfConnecting)
{
    Source source;
    std::vector<int> order;
    Record first;
    first.action = [&order] { order.push_back(1); };
    Record second;
    second.action = [&order] { order.push_back(2); };
    Record third;
    third.action = [&order] { order.push_back(3); };
    for (Record* const record : {&second, &first, &third})
        EventObject::connect(source, "EVT_A", note, record);
    source.raise_event("EVT_A");

    EXPECT_EQ(order, (std::vector<int>{2, 1, 3}));
}

TEST(EventObject, TheSameFourValuesAreOneConnection)
{
    Source source;
    Record record;
    EventObject::connect(source, "EVT_A", note, &record);
    EventObject::connect(source, "EVT_A", note, &record);
    source.raise_event("EVT_A");
    EXPECT_EQ(record.names.size(), 1u);

    EXPECT_TRUE(EventObject::disconnect(source, "EVT_A", note, &record));
    EXPECT_FALSE(EventObject::disconnect(source, "EVT_A", note, &record));
    source.raise_event("EVT_A");
    EXPECT_EQ(record.names.size(), 1u);
}

TEST(EventObject, TheSameMemberConnectionIsOne)
{
    Source source;
    Listener listener;
    int data = 0;
    listener.listen(source, "EVT_A", &data);
    listener.listen(source, "EVT_A", &data);
    listener.listen(source, "EVT_A", nullptr);
    source.raise_event("EVT_A");

    EXPECT_EQ(listener.calls, 2);
    EXPECT_TRUE(listener.stop(source, "EVT_A", &data));
    EXPECT_FALSE(listener.stop(source, "EVT_A", &data));
    source.raise_event("EVT_A");
    EXPECT_EQ(listener.calls, 3);
}

TEST(EventObject, EachOfTheFourValuesTellsConnectionsApart)
{
    Source source, other_source;
    Record record, other_record;
    EventObject::connect(source, "EVT_A", note, &record);

    EXPECT_FALSE(EventObject::disconnect(other_source, "EVT_A", note, &record));
    EXPECT_FALSE(EventObject::disconnect(source, "EVT_B", note, &record));
    EXPECT_FALSE(EventObject::disconnect(source, "EVT_A", note_also, &record));
    EXPECT_FALSE(EventObject::disconnect(source, "EVT_A", note, &other_record));
    EXPECT_TRUE(EventObject::disconnect(source, "EVT_A", note, &record));
}

TEST(EventObject, DestructorRaisesDestroy)
{
    Record record;
    EventObject* address = nullptr;
    {
        Source source;
        address = &source;
        EventObject::connect(source, "EVT_ID_DESTROY", note, &record);
    }

    EXPECT_EQ(record.names, std::vector<std::string>{"EVT_ID_DESTROY"});
    EXPECT_EQ(record.senders, std::vector<EventObject*>{address});
}

TEST(EventObject, ADestroyCallbackMayDisconnectItself)
{
    Record record;
    auto source = std::make_unique<Source>();
    Source* const address = source.get();
    bool was_connected = false;
    record.action = [&] {
        was_connected = EventObject::disconnect(*address, "EVT_ID_DESTROY", note, &record);
    };
    EventObject::connect(*source, "EVT_ID_DESTROY", note, &record);
    source.reset();

    EXPECT_TRUE(was_connected);
}

TEST(EventObject, AReceiverThatIsGoneIsNotCalled)
{
    Source source;
    auto listener = std::make_unique<Listener>();
    listener->listen(source, "EVT_A", nullptr);
    listener.reset();

    EXPECT_NO_FATAL_FAILURE(source.raise_event("EVT_A"));
}

TEST(EventObject, AReceiverOutlivesItsSource)
{
    Listener listener;
    {
        Source source;
        listener.listen(source, "EVT_A", nullptr);
        source.raise_event("EVT_A");
    }
    Source other;
    listener.listen(other, "EVT_A", nullptr);
    other.raise_event("EVT_A");

    EXPECT_EQ(listener.calls, 2);
}

TEST(EventObject, AnObjectMayListenToItself)
{
    class SelfListener : public EventObject {
    public:
        SelfListener() { connect(*this, "EVT_A", &SelfListener::on_event, nullptr); }
        void on_event(SelfListener&, EventInfo const&, void*) { ++calls; }
        int calls = 0;
    };
    auto object = std::make_unique<SelfListener>();
    object->raise_event("EVT_A");

    EXPECT_EQ(object->calls, 1);
    object.reset();
}

TEST(EventObject, ACallbackMayDisconnectALaterOne)
{
    Source source;
    Record first, second;
    first.action = [&] { EventObject::disconnect(source, "EVT_A", note, &second); };
    EventObject::connect(source, "EVT_A", note, &first);
    EventObject::connect(source, "EVT_A", note, &second);
    source.raise_event("EVT_A");

    EXPECT_EQ(first.names.size(), 1u);
    EXPECT_TRUE(second.names.empty());
}

TEST(EventObject, AConnectionMadeInACallbackWaitsForTheNextEvent)
{
    Source source;
    Record first, second;
    first.action = [&] { EventObject::connect(source, "EVT_A", note, &second); };
    EventObject::connect(source, "EVT_A", note, &first);
    source.raise_event("EVT_A");
    EXPECT_TRUE(second.names.empty());
    source.raise_event("EVT_A");
    EXPECT_EQ(second.names.size(), 1u);
}

TEST(EventObject, ACallbackMayDestroyTheSender)
{
    auto source = std::make_unique<Source>();
    Record first, second;
    first.action = [&] { source.reset(); };
    EventObject::connect(*source, "EVT_A", note, &first);
    EventObject::connect(*source, "EVT_A", note, &second);
    source->raise_event("EVT_A");

    EXPECT_EQ(first.names.size(), 1u);
    EXPECT_TRUE(second.names.empty());
}

TEST(EventObject, ACallbackMayDestroyAnotherReceiver)
{
    Source source;
    auto victim = std::make_unique<Listener>();
    Record killer;
    killer.action = [&] { victim.reset(); };
    EventObject::connect(source, "EVT_A", note, &killer);
    victim->listen(source, "EVT_A", nullptr);
    source.raise_event("EVT_A");
    source.raise_event("EVT_A");

    EXPECT_EQ(killer.names.size(), 2u);
    EXPECT_EQ(victim, nullptr);
}

TEST(EventObject, ACallbackMayDestroyItsOwnReceiver)
{
    Source source;
    auto listener = std::make_unique<Listener>();
    int calls = 0;
    listener->action = [&] {
        ++calls;
        listener.reset();
    };
    listener->listen(source, "EVT_A", nullptr);
    source.raise_event("EVT_A");
    source.raise_event("EVT_A");

    EXPECT_EQ(calls, 1);
}

TEST(EventObject, ACallbackMayRaiseAgain)
{
    Source source;
    Record record;
    record.action = [&] {
        if (record.names.size() < 3)
            source.raise_event("EVT_A");
    };
    EventObject::connect(source, "EVT_A", note, &record);
    source.raise_event("EVT_A");

    EXPECT_EQ(record.names.size(), 3u);
}

TEST(EventObject, CopiesTakeNoConnections)
{
    Source source;
    Record record;
    EventObject::connect(source, "EVT_A", note, &record);
    Source copy(source);
    copy.raise_event("EVT_A");
    EXPECT_TRUE(record.names.empty());

    Source target;
    Record target_record;
    EventObject::connect(target, "EVT_A", note, &target_record);
    target = source;
    target.raise_event("EVT_A");
    EXPECT_TRUE(record.names.empty());
    EXPECT_EQ(target_record.names.size(), 1u);
}

TEST(EventObject, ADestructorSwallowsWhatCallbacksThrow)
{
    Record record;
    record.action = [] { throw std::runtime_error("in a callback"); };
    {
        Source source;
        EventObject::connect(source, "EVT_ID_DESTROY", note, &record);
    }

    EXPECT_EQ(record.names.size(), 1u);
}

TEST(EventObject, WhatOneCallbackThrowsKeepsNoOtherFromHearingOfTheEnd)
{
    Record throwing, other;
    throwing.action = [] { throw std::runtime_error("in a callback"); };
    {
        Source source;
        EventObject::connect(source, "EVT_ID_DESTROY", note, &throwing);
        EventObject::connect(source, "EVT_ID_DESTROY", note, &other);
    }

    EXPECT_EQ(other.names.size(), 1u);
}

TEST(EventObject, AnEndIsHeardByThoseThatWereConnectedWhenItBegan)
{
    Record first, dropped, late;
    auto source = std::make_unique<Source>();
    Source* const address = source.get();
    first.action = [&] {
        EventObject::disconnect(*address, "EVT_ID_DESTROY", note, &dropped);
        EventObject::connect(*address, "EVT_ID_DESTROY", note, &late);
    };
    EventObject::connect(*source, "EVT_ID_DESTROY", note, &first);
    EventObject::connect(*source, "EVT_ID_DESTROY", note, &dropped);
    source.reset();

    EXPECT_EQ(first.names.size(), 1u);
    EXPECT_TRUE(dropped.names.empty());
    EXPECT_TRUE(late.names.empty());
}

TEST(EventObject, ConnectionsAreMadeAndDroppedOnManyThreads)
{
    Source source;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&source] {
            for (int k = 0; k < 300; ++k) {
                Listener listener;
                listener.listen(source, "EVT_OTHER", nullptr);
                source.raise_event("EVT_NOBODY");
            }
        });
    for (auto& thread : threads)
        thread.join();
    Record record;
    EventObject::connect(source, "EVT_A", note, &record);
    source.raise_event("EVT_A");

    EXPECT_EQ(record.names.size(), 1u);
}

TEST(EventObject, KnowsItsClass)
{
    Source const source;
    ResourceUser const user;

    EXPECT_TRUE(source.is_kindof(EventObject::class_info()));
    EXPECT_TRUE(source.is_kindof(CoreBaseObject::class_info()));
    EXPECT_FALSE(source.is_kindof(ResourceUser::class_info()));
    EXPECT_TRUE(user.is_kindof(ResourceUser::class_info()));
    EXPECT_TRUE(user.is_kindof(EventObject::class_info()));
    EXPECT_EQ(&user.get_class_info(), &ResourceUser::class_info());
    EXPECT_EQ(EventObject::class_info().get_name(), "EventObject");
}

TEST(EventObject, CountsItsConnectionsInItsMemory)
{
    Source source;
    unsigned long long const before = source.get_memory_size();
    Record record;
    EventObject::connect(source, "EVT_A", note, &record);

    EXPECT_GE(before, sizeof(EventObject));
    EXPECT_GT(source.get_memory_size(), before);
}

}  // namespace
