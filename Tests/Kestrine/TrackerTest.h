// A component that follows nodes of the host's configuration.
#pragma once

#include "Tests/Support/ComponentTest.h"

template <class Component>
class TrackerTest : public ComponentTest<Component>
{
protected:
    using ComponentTest<Component>::ComponentTest;

    void ExpectSubscriptionsToEndWhereTheyWereMade()
    {
        ASSERT_EQ(this->Configure(), S_OK);
        server.registered.reset();
        Named<FakeConfigServer> successor(L"ConfigServer.Proxy");
        ASSERT_EQ(this->Configure(), S_OK);
        EXPECT_TRUE(server.live.empty() && successor.unsubscribed.empty());
        successor.registered.reset();
        this->configurable.Reset();
        EXPECT_TRUE(successor.live.empty());
    }

    Named<FakeConfigServer> server{L"ConfigServer.Proxy"};
    Named<FakeUpdater> updater{L"Test.Updater"};
};
