#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string>
#include <string_view>
#include <vector>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/VKTImageCanvas.h"
#include "VKTCoreKit/platform/linux/cairo/VKTCairoCanvas.h"

namespace {

constexpr int maximumSide = 32767;        // cairo's own
constexpr double largestFontSize = 4096;  // in pixels; from far larger ones cairo does not recover
constexpr double quarterTurn = std::numbers::pi / 2;

struct Release {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
    void operator()(cairo_t* context) const { cairo_destroy(context); }
};

// Draws on a context that it holds a reference of, `scale` pixels to a point.
template <typename Canvas>
class Drawing : public Canvas {
  public:
    void save() override {
        ++saved_;
        cairo_save(context_.get());
    }

    // One too many would put the context out of use.
    void restore() override {
        if (saved_ == 0) return;
        --saved_;
        cairo_restore(context_.get());
    }

    void clipToRect(const VKTRect& rect) override {
        cairo_rectangle(context_.get(), rect.x, rect.y, rect.width, rect.height);
        cairo_clip(context_.get());
    }

    void fillRoundedRect(const VKTRect& rect, double radius, const VKTColor& color) override {
        const double r = std::max(0.0, std::min({radius, rect.width / 2, rect.height / 2}));
        const double left = rect.x + r;
        const double top = rect.y + r;
        const double right = rect.x + rect.width - r;
        const double bottom = rect.y + rect.height - r;
        cairo_new_path(context_.get());
        cairo_arc(context_.get(), right, top, r, -quarterTurn, 0);
        cairo_arc(context_.get(), right, bottom, r, 0, quarterTurn);
        cairo_arc(context_.get(), left, bottom, r, quarterTurn, 2 * quarterTurn);
        cairo_arc(context_.get(), left, top, r, 2 * quarterTurn, 3 * quarterTurn);
        setColor(color);
        cairo_fill(context_.get());
    }

    void strokeArc(VKTPoint centre, double radius, double startAngle, double sweep, double lineWidth,
                   const VKTColor& color) override {
        cairo_new_path(context_.get());
        cairo_arc(context_.get(), centre.x, centre.y, radius, startAngle, startAngle + sweep);
        cairo_set_line_width(context_.get(), lineWidth);
        setColor(color);
        cairo_stroke(context_.get());
    }

    void drawText(std::string_view text, VKTPoint leftMiddle, double fontSize,
                  const VKTColor& color) override {
        if (!canDraw(text, fontSize)) return;
        const cairo_text_extents_t digit = extents("0", fontSize);
        cairo_move_to(context_.get(), leftMiddle.x, leftMiddle.y - digit.y_bearing - digit.height / 2);
        setColor(color);
        cairo_show_text(context_.get(), std::string(text).c_str());
        cairo_new_path(context_.get());
    }

    [[nodiscard]] double widthOfText(std::string_view text, double fontSize) const override {
        return canDraw(text, fontSize) ? extents(std::string(text), fontSize).x_advance : 0;
    }

  protected:
    void drawOn(cairo_t* context, double scale) {
        context_.reset(context);
        scale_ = scale;
        cairo_select_font_face(context, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    }
    void restoreAll() {
        while (saved_ > 0)
            restore();
    }
    [[nodiscard]] cairo_t* context() const { return context_.get(); }

  private:
    void setColor(const VKTColor& color) {
        cairo_set_source_rgba(context_.get(), color.red, color.green, color.blue, color.alpha);
    }

    [[nodiscard]] bool canDraw(std::string_view text, double fontSize) const {
        return fontSize > 0 && fontSize * scale_ <= largestFontSize && vkt_isValidUTF8(text);
    }

    // Leaves the font at that size.
    [[nodiscard]] cairo_text_extents_t extents(const std::string& text, double fontSize) const {
        cairo_text_extents_t result;
        cairo_set_font_size(context_.get(), fontSize);
        cairo_text_extents(context_.get(), text.c_str(), &result);
        return result;
    }

    std::unique_ptr<cairo_t, Release> context_;
    double scale_ = 1;
    std::size_t saved_ = 0;
};

class ContextCanvas : public Drawing<VKTCanvas> {
  public:
    explicit ContextCanvas(cairo_t* context) {
        cairo_save(context);
        cairo_matrix_t matrix;
        cairo_get_matrix(context, &matrix);
        drawOn(cairo_reference(context), std::hypot(matrix.xx, matrix.yx));
    }
    ~ContextCanvas() override {
        restoreAll();
        cairo_restore(context());
    }
};

class ImageCanvas : public Drawing<VKTImageCanvas> {
  public:
    ImageCanvas(int width, int height, double scale)
        : width_(width),
          height_(height),
          pixels_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height)),
          surface_(cairo_image_surface_create_for_data(reinterpret_cast<unsigned char*>(pixels_.data()),
                                                       CAIRO_FORMAT_ARGB32, width, height, width * 4)) {
        drawOn(cairo_create(surface_.get()), scale);
        cairo_scale(context(), scale, scale);
    }

    [[nodiscard]] bool isUsable() const { return cairo_status(context()) == CAIRO_STATUS_SUCCESS; }

    [[nodiscard]] std::size_t width() const override { return static_cast<std::size_t>(width_); }
    [[nodiscard]] std::size_t height() const override { return static_cast<std::size_t>(height_); }

    [[nodiscard]] std::span<const std::uint32_t> pixels() const override {
        cairo_surface_flush(surface_.get());
        return pixels_;
    }

    void clear() override {
        cairo_surface_flush(surface_.get());
        std::fill(pixels_.begin(), pixels_.end(), 0U);
        cairo_surface_mark_dirty(surface_.get());
    }

    [[nodiscard]] bool writePNG(const std::string& path) const override {
        return cairo_surface_write_to_png(surface_.get(), path.c_str()) == CAIRO_STATUS_SUCCESS;
    }

  private:
    const int width_;
    const int height_;
    std::vector<std::uint32_t> pixels_;
    const std::unique_ptr<cairo_surface_t, Release> surface_;
};

}  // namespace

std::unique_ptr<VKTImageCanvas> vkt_makeCairoCanvasWithSize(int width, int height, double scale) {
    if (width <= 0 || height <= 0 || width > maximumSide || height > maximumSide) return nullptr;
    if (!(scale > 0) || !std::isfinite(scale)) return nullptr;
    auto canvas = std::make_unique<ImageCanvas>(width, height, scale);
    if (!canvas->isUsable()) return nullptr;
    return canvas;
}

std::unique_ptr<VKTCanvas> vkt_makeCairoCanvasOnContext(cairo_t* context) {
    return std::make_unique<ContextCanvas>(context);
}
