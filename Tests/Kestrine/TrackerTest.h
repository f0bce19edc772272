// A component that follows nodes of the host's configuration.
#pragma once

#include "Tests/Support/ComponentTest.h"

#include <optional>

template <class Component>
class TrackerTest : public ComponentTest<Component>
{
protected:
    using ComponentTest<Component>::ComponentTest;

    // With `live` subscriptions a configuration, of which the second is made at another server of the same name.
    void ExpectSubscriptionsToEndWhereTheyWereMade(std::size_t live)
    {
        ASSERT_EQ(this->Configure(), S_OK);
        FakeConfigServer successor;
        namedServer.emplace(L"ConfigServer.Proxy", &successor);
        ASSERT_EQ(this->Configure(), S_OK);
        EXPECT_TRUE(server.live.empty());
        EXPECT_TRUE(successor.unsubscribed.empty());
        namedServer.reset();
        successor.throwing = true;
        FakeModifiedNodes nodes;
        nodes.hook = [&] {
            this->configurable.Reset();
            EXPECT_EQ(successor.live.size(), live) << "the component outlives the notification in progress";
        };
        EXPECT_EQ(successor.sink->OnTriggered(&successor.subscriptions[0], 7, &nodes), S_OK);
        EXPECT_TRUE(successor.live.empty());
    }

    FakeConfigServer server;
    FakeUpdater updater;
    std::optional<RegisteredInstance> namedServer{std::in_place, L"ConfigServer.Proxy", &server};
    RegisteredInstance namedUpdater{L"Test.Updater", &updater};
};
