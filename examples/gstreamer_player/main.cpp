// Plays an ad break in a window: gstreamer_player URL
// Keys: space pauses, m mutes, c or Enter clicks, s skips, f fills the screen, q quits.
#include <VKTCoreKit/platform/VKTHeadlessView.h>
#include <VKTCoreKit/platform/linux/cairo/VKTCairoCanvas.h>
#include <VKTCoreKit/platform/linux/glib/VKTGLibRunLoop.h>
#include <VKTCoreKit/player/VKTAdBreakPlayer.h>
#include <VKTCoreKit/ui/VKTProgressOverlay.h>
#include <X11/Xutil.h>
#include <cairo.h>
#include <glib-unix.h>

#include <iostream>
#include <mutex>

#include "GStreamerMediaPlayer.h"

// A window of X11 with a video in it, and the progress of an ad over that; as long as the process lives.
class PlayerWindow {
  public:
    // `onKey` hears the character of each key, and 'q' when somebody closes the window.
    PlayerWindow(Display* display, std::function<void(char)> onKey)
        : display_(display), onKey_(std::move(onKey)) {
        XSetErrorHandler([](Display*, XErrorEvent*) { return 0; });  // a picture for a window that is gone
        XSetWMProtocols(display_, window_, &closing_, 1);
        XSelectInput(display_, window_, KeyPressMask | StructureNotifyMask);
        XMapWindow(display_, window_);
        XFlush(display_);
        g_unix_fd_add(ConnectionNumber(display_), G_IO_IN, &PlayerWindow::onEvents, this);
        g_signal_connect(overlay_, "draw", G_CALLBACK(&PlayerWindow::onDraw), this);
        screen_->addSubview(view_);
        resize(960, 540);
    }

    [[nodiscard]] auto makeMediaPlayer() { return std::make_shared<GStreamerMediaPlayer>(sink_, window_); }
    [[nodiscard]] std::shared_ptr<VKTView> view() const { return view_; }
    void showProgress(double time, double duration) {
        const std::lock_guard lock(mutex_);
        progress_.setDuration(duration);
        progress_.setTime(time);
    }
    bool toggleFullscreen() {
        isFull_ = !isFull_;
        const Screen& screen = *DefaultScreenOfDisplay(display_);
        const unsigned width = isFull_ ? unsigned(screen.width) : 960;
        XMoveResizeWindow(display_, window_, 0, 0, width, isFull_ ? unsigned(screen.height) : 540);
        XFlush(display_);
        return isFull_;
    }

  private:
    static gboolean onEvents(gint, GIOCondition, gpointer self) {
        auto& window = *static_cast<PlayerWindow*>(self);
        for (XEvent event; XPending(window.display_) > 0; window.handle(event))
            XNextEvent(window.display_, &event);
        return G_SOURCE_CONTINUE;
    }
    void handle(XEvent& event) {
        char key = 0;
        if (event.type == KeyPress && XLookupString(&event.xkey, &key, 1, nullptr, nullptr) > 0) onKey_(key);
        if (event.type == ClientMessage || event.type == DestroyNotify) onKey_('q');
        if (event.type == MapNotify || event.type == UnmapNotify) view_->setHidden(event.type == UnmapNotify);
        if (event.type == ConfigureNotify) resize(event.xconfigure.width, event.xconfigure.height);
    }
    void resize(int width, int height) {
        screen_->setFrame({0, 0, double(width), double(height)});
        view_->setFrame(screen_->frame());
        const std::string caps = "video/x-raw,pixel-aspect-ratio=1/1,width=" + std::to_string(width);
        gst_util_set_object_arg(G_OBJECT(size_), "caps",
                                (caps + ",height=" + std::to_string(height)).c_str());
    }

    // On a thread of GStreamer's.
    static void onDraw(GstElement*, cairo_t* cairo, guint64, guint64, gpointer self) {
        VKTRect picture;
        cairo_clip_extents(cairo, &picture.x, &picture.y, &picture.width, &picture.height);
        auto& window = *static_cast<PlayerWindow*>(self);
        const std::lock_guard lock(window.mutex_);
        window.progress_.draw(*vkt_makeCairoCanvasOnContext(cairo), picture);
    }

    Display* const display_;
    const std::function<void(char)> onKey_;
    const Window window_ =
        XCreateSimpleWindow(display_, DefaultRootWindow(display_), 0, 0, 960, 540, 0, 0, 0);
    Atom closing_ = XInternAtom(display_, "WM_DELETE_WINDOW", False);
    GstElement* const sink_ = gst_parse_bin_from_description(
        "videoscale ! capsfilter name=size ! cairooverlay name=overlay ! ximagesink", TRUE, nullptr);
    GstElement* const size_ = gst_bin_get_by_name(GST_BIN(sink_), "size");
    GstElement* const overlay_ = gst_bin_get_by_name(GST_BIN(sink_), "overlay");
    const std::shared_ptr<VKTHeadlessView> screen_ = VKTHeadlessView::windowWithFrame({});
    const std::shared_ptr<VKTHeadlessView> view_ = VKTHeadlessView::initWithFrame({});
    bool isFull_ = false;
    std::mutex mutex_;
    VKTProgressOverlay progress_;  // under the lock
};

class Application : public VKTAdBreakPlayerDelegate, public std::enable_shared_from_this<Application> {
  public:
    explicit Application(Display* display) : window_(display, [this](char key) { press(key); }) {}
    void start(const VKTURL& url) {
        player_ = VKTAdBreakPlayer::initWithMediaPlayer(window_.makeMediaPlayer(), window_.view(),
                                                        shared_from_this(), services_);
        player_->startWithURL(url);
    }

    void press(char key) {
        if (key == ' ') player_->isPaused() ? player_->resume() : player_->pause();
        if (key == 'm') player_->setMuted(player_->volume() > 0);
        if (key == 'c' || key == '\r') player_->click();
        if (key == 's') player_->skip();
        if (key == 'f') player_->setFullscreen(window_.toggleFullscreen());
        if (key == 'q') player_->cancel();
    }
    static gboolean onSignal(gpointer self) {
        static_cast<Application*>(self)->press('q');
        return G_SOURCE_CONTINUE;
    }

    void adBreakPlayerDidProgress(VKTAdBreakPlayer&, double time, std::optional<double> duration) override {
        window_.showProgress(time, duration.value_or(0));
    }
    void adBreakPlayerShouldOpenURL(VKTAdBreakPlayer&, const VKTURL& url) override {
        std::cout << "to be opened: " << url.absoluteString() << std::endl;
    }
    void adBreakPlayerDidEndAd(VKTAdBreakPlayer&, const VKTAdBreakAd& ad, const VKTAdEnd& end) override {
        constexpr const char* kinds[] = {" completed", " skipped", " failed: ", " cancelled"};
        std::cout << ad.ad->adID().value_or("an ad") << kinds[end.kind] << end.reason << std::endl;
    }
    void adBreakPlayerDidEnd(VKTAdBreakPlayer&, const VKTAdBreakEnd& end) override {
        std::cout << "the break has ended " << end.reason << std::endl;
        const VKTTimeInterval patience(end.kind == VKTAdBreakCancelled ? 0.3 : 3);  // for the last pixels
        loop_->postAfter(patience, [this] { loop_->stop(); });
    }
    void adBreakPlayerDidTryAllPixels(VKTAdBreakPlayer&) override { loop_->stop(); }

  private:
    const std::shared_ptr<VKTRunLoop> loop_ = VKTPlatform::current().mainRunLoop;
    const VKTAdBreakServices services_ = VKTAdBreakServices::initWithPlatform(VKTPlatform::current());
    PlayerWindow window_;
    std::shared_ptr<VKTAdBreakPlayer> player_;
};

int main(int argc, char** argv) {
    gst_init(&argc, &argv);
    Display* display = XOpenDisplay(nullptr);
    const auto url = argc == 2 ? VKTURL::URLWithString(argv[1]) : std::nullopt;
    if (!display || !url) {
        std::cerr << "usage: gstreamer_player URL, with DISPLAY in the environment\n";
        return 2;
    }
    VKTPlatform platform = vkt_makeDefaultPlatform();
    platform.mainRunLoop = vkt_makeGLibRunLoop();
    VKTPlatform::setCurrent(platform);
    const auto application = std::make_shared<Application>(display);
    for (const int signal : {SIGINT, SIGTERM})
        g_unix_signal_add(signal, &Application::onSignal, application.get());
    application->start(*url);
    platform.mainRunLoop->run();
}
