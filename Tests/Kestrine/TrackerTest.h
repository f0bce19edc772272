// A component that follows nodes of the host's configuration.
#pragma once

#include "Tests/Support/ComponentTest.h"

template <class Component>
class TrackerTest : public ComponentTest<Component>
{
protected:
    using ComponentTest<Component>::ComponentTest;

    // With `live` subscriptions a configuration, of which the second is made at another server of the same name.
    void ExpectSubscriptionsToEndWhereTheyWereMade(std::size_t live)
    {
        ASSERT_EQ(this->Configure(), S_OK);
        server.registered.reset();
        Named<FakeConfigServer> successor(L"ConfigServer.Proxy");
        ASSERT_EQ(this->Configure(), S_OK);
        EXPECT_TRUE(server.live.empty() && successor.unsubscribed.empty());
        successor.registered.reset();
        successor.throwing = true;
        FakeModifiedNodes nodes;
        nodes.hook = [&] {
            this->configurable.Reset();
            EXPECT_EQ(successor.live.size(), live) << "the component outlives the notification in progress";
        };
        EXPECT_EQ(successor.sink->OnTriggered(&successor.subscriptions[0], 7, &nodes), S_OK);
        EXPECT_TRUE(successor.live.empty());
    }

    Named<FakeConfigServer> server{L"ConfigServer.Proxy"};
    Named<FakeUpdater> updater{L"Test.Updater"};
};
