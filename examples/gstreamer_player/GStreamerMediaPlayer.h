// The media player of an ad break, over GStreamer's playbin: MP4, HLS and whatever else is installed.
#pragma once

#include <VKTCoreKit/player/VKTMediaPlayer.h>
#include <gst/video/videooverlay.h>

/// Main thread only: GStreamer's messages come through the default GMainContext.
class GStreamerMediaPlayer : public VKTMediaPlayer {
  public:
    GStreamerMediaPlayer(GstElement* videoSink, guintptr window) {
        g_object_set(playbin_, "video-sink", videoSink, nullptr);
        gst_video_overlay_set_window_handle(GST_VIDEO_OVERLAY(playbin_), window);
        gst_bus_add_watch(GST_ELEMENT_BUS(playbin_), &GStreamerMediaPlayer::onMessage, this);
    }
    ~GStreamerMediaPlayer() override {
        stop();
        gst_bus_remove_watch(GST_ELEMENT_BUS(playbin_));
        gst_object_unref(playbin_);
    }

    void load(const VKTVASTMediaFile& file, const std::shared_ptr<VKTMediaPlayerListener>& events) override {
        stop();
        events_ = events;
        position_ = 0;
        g_object_set(playbin_, "uri", file.url->url().absoluteString().c_str(), nullptr);
        setState(GST_STATE_PAUSED);
    }
    void play() override { setState(GST_STATE_PLAYING); }
    void pause() override { setState(GST_STATE_PAUSED); }
    void stop() final { gst_element_set_state(playbin_, GST_STATE_NULL); }  // and drops unheard messages

    [[nodiscard]] double position() const override {
        gint64 time = 0;
        const bool isKnown = gst_element_query_position(playbin_, GST_FORMAT_TIME, &time);
        return isKnown ? position_ = double(time) / GST_SECOND : position_;
    }
    [[nodiscard]] std::optional<double> duration() const override {
        gint64 time = 0;
        if (!gst_element_query_duration(playbin_, GST_FORMAT_TIME, &time)) return std::nullopt;
        return double(time) / GST_SECOND;
    }
    void setVolume(double volume) override { g_object_set(playbin_, "volume", volume, nullptr); }

  private:
    void setState(GstState state) { gst_element_set_state(playbin_, wanted_ = state); }
    static gboolean onMessage(GstBus*, GstMessage* message, gpointer self) {
        static_cast<GStreamerMediaPlayer*>(self)->hear(message);
        return G_SOURCE_CONTINUE;
    }
    void hear(GstMessage* message) {
        const GstMessageType type = GST_MESSAGE_TYPE(message);
        if (type == GST_MESSAGE_ASYNC_DONE) events_->mediaIsReady();
        if (type == GST_MESSAGE_EOS) events_->mediaDidEnd();
        if (type == GST_MESSAGE_STATE_CHANGED && message->src == GST_OBJECT(playbin_)) {
            GstState state = GST_STATE_NULL;
            gst_message_parse_state_changed(message, nullptr, &state, nullptr);
            if (state == GST_STATE_PLAYING) events_->mediaDidStart();
        }
        if (type == GST_MESSAGE_BUFFERING) {
            gint percent = 0;
            gst_message_parse_buffering(message, &percent);
            gst_element_set_state(playbin_, percent < 100 ? GST_STATE_PAUSED : wanted_);  // waits for data
            if (percent < 100) events_->mediaDidStall();
        }
        if (type == GST_MESSAGE_ERROR) {
            GError* error = nullptr;
            gst_message_parse_error(message, &error, nullptr);
            events_->mediaDidFail(failureOf(*error, *message->src), error->message);
            g_error_free(error);
        }
    }
    static VKTMediaFailure failureOf(const GError& error, const GstObject& teller) {
        const auto is = [&](GQuark domain, auto... codes) {
            return error.domain == domain && ((error.code == codes) || ...);
        };
        if (GST_OBJECT_FLAG_IS_SET(&teller, GST_ELEMENT_FLAG_SOURCE) ||  // no answer, too
            is(GST_RESOURCE_ERROR, GST_RESOURCE_ERROR_NOT_FOUND, GST_RESOURCE_ERROR_OPEN_READ))
            return VKTMediaFailureNotFound;
        if (is(GST_CORE_ERROR, GST_CORE_ERROR_MISSING_PLUGIN) ||
            is(GST_STREAM_ERROR, GST_STREAM_ERROR_TYPE_NOT_FOUND, GST_STREAM_ERROR_CODEC_NOT_FOUND))
            return VKTMediaFailureNotSupported;
        if (is(GST_STREAM_ERROR, GST_STREAM_ERROR_DEMUX, GST_STREAM_ERROR_DECODE))
            return VKTMediaFailureNotShown;
        return VKTMediaFailureGeneral;
    }

    GstElement* const playbin_ = gst_element_factory_make("playbin", nullptr);
    std::shared_ptr<VKTMediaPlayerListener> events_;
    GstState wanted_ = GST_STATE_PAUSED;
    mutable double position_ = 0;  // seconds, the latest that is known
};
