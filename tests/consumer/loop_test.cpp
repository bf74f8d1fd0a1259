// The main loop of the consumer, tested by the library's own suite.
#include <VKTCoreKit/platform/VKTPlatform.h>
#include <VKTCoreKit/platform/testing/contract/VKTRunLoopContract.h>

#ifdef VKT_HAS_GLIB_RUN_LOOP
#include <VKTCoreKit/platform/linux/glib/VKTGLibRunLoop.h>

INSTANTIATE_TEST_SUITE_P(GLib, VKTRunLoopContract,
                         testing::Values(VKTRunLoopMaker{"glib", [] { return vkt_makeGLibRunLoop(); }}));
#endif

INSTANTIATE_TEST_SUITE_P(Platform, VKTRunLoopContract,
                         testing::Values(VKTRunLoopMaker{
                             "platform", [] { return vkt_makeDefaultPlatform().mainRunLoop; }}));
