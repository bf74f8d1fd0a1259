// A main loop over GLib's, for applications that run one (GStreamer, GTK, WPE). Defined by the library
// VKTGLib, which there is when VKTCoreKit was built with GLib.
#pragma once

#include <memory>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/platform/VKTRunLoop.h"

// As GLib declares it, so that both may be included.
// NOLINTNEXTLINE(modernize-use-using,bugprone-reserved-identifier)
typedef struct _GMainContext GMainContext;

/// A loop over `context`, null for the default one, of which it keeps a reference. Make it on the thread that
/// runs the context, and put it into `VKTPlatform::mainRunLoop` before anything else of the library is used.
///
/// Its tasks are run by whoever runs the context: by g_main_loop_run and its like, or by this loop's own run,
/// runUntil and drain, which iterate the context, with all that others have in it. These return at once, with
/// a warning, while another thread runs the context. Between two tasks the context serves its other sources;
/// the tasks have G_PRIORITY_DEFAULT. The loop belongs to the thread that has run one of its tasks last, and
/// to any thread while that iterates the context.
///
/// An exception of a task ends there, with an error in the log: nothing may be thrown through GLib. The loop
/// may be destroyed on any thread and by its own tasks: what is left is dropped with it, and no source of it
/// stays in the context; `run` under way ends.
VKT_EXPORT std::shared_ptr<VKTRunLoop> vkt_makeGLibRunLoop(GMainContext* context = nullptr);
