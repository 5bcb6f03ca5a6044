#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace morvane {

// Pixels of the screen, four bytes each: blue, green, red and one that says nothing.
struct Photo {
  std::vector<uint8_t> pixels;
  int width = 0;
  int height = 0;
  [[nodiscard]] int Green(int x, int y) const {
    return pixels[(static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)) *
                      4 +
                  1];
  }
};

// The X screen that $DISPLAY names, with all that is on it.
class Screen {
 public:
  Screen() : connection_(xcb_connect(nullptr, nullptr)) {}
  ~Screen() { xcb_disconnect(connection_); }
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;

  // Takes what is on the screen now, in one piece. Returns: false without a screen of 24 bits, or
  // for a place that is not on it.
  [[nodiscard]] bool Take(int x, int y, int width, int height, Photo* photo) const {
    if (xcb_connection_has_error(connection_) != 0) return false;
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
    const xcb_get_image_cookie_t cookie = xcb_get_image(
        connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, screen->root, static_cast<int16_t>(x),
        static_cast<int16_t>(y), static_cast<uint16_t>(width), static_cast<uint16_t>(height), ~0U);
    xcb_get_image_reply_t* reply = xcb_get_image_reply(connection_, cookie, nullptr);
    if (reply == nullptr) return false;
    const size_t bytes = static_cast<size_t>(width) * static_cast<size_t>(height) * 4;
    const bool fits = static_cast<size_t>(xcb_get_image_data_length(reply)) == bytes;
    if (fits) {
      const uint8_t* data = xcb_get_image_data(reply);
      photo->pixels.assign(data, data + bytes);
      photo->width = width;
      photo->height = height;
    }
    free(reply);
    return fits;
  }

 private:
  xcb_connection_t* const connection_;
};

}  // namespace morvane
