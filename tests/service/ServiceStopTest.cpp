// Stopping lumo-service at the earliest moment a caller can: SIGTERM as soon
// as "listening on" is read, before the server may have entered its accept
// loop. Such a signal once went unnoticed now and then and the service ran
// on; scripts/run-app stops it this early when the application fails at once.

#include "LumoServiceProcess.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>

using namespace lumo_test;

namespace {

TEST(ServiceStop, SigtermRightAfterTheAnnouncementStopsTheService)
{
    TempDir data;
    LumoServiceProcess service(LUMO_SERVICE_PATH, data.Path(), data.File("service.log"));
    // The window is narrow: many starts make missing it unlikely.
    for (int start = 0; start < 100; start++) {
        ASSERT_TRUE(service.Start()) << service.Announcement();
        ASSERT_EQ(0, service.Stop(std::chrono::seconds(10))) << "start " << start << " did not stop";
    }
}

} // namespace
