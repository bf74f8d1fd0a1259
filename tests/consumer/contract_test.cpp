// What the consumer has of its own, tested by the library's suites.
#include <VKTCoreKit/platform/VKTPlatform.h>
#include <VKTCoreKit/platform/testing/contract/VKTRunLoopContract.h>
#include <VKTCoreKit/platform/testing/contract/VKTSerialQueueContract.h>

#ifdef VKT_HAS_GLIB_RUN_LOOP
#include <VKTCoreKit/platform/linux/glib/VKTGLibRunLoop.h>

INSTANTIATE_TEST_SUITE_P(GLib, VKTRunLoopContract,
                         testing::Values(VKTRunLoopMaker{"glib", [] { return vkt_makeGLibRunLoop(); }}));
#endif

INSTANTIATE_TEST_SUITE_P(Platform, VKTRunLoopContract,
                         testing::Values(VKTRunLoopMaker{
                             "platform", [] { return vkt_makeDefaultPlatform().mainRunLoop; }}));

INSTANTIATE_TEST_SUITE_P(Platform, VKTSerialQueueContract,
                         testing::Values(VKTSerialQueueMaker{
                             "platform", [] { return vkt_makeDefaultPlatform().makeSerialQueue(); }}));
