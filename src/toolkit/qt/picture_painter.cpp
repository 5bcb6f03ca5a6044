#include "toolkit/qt/picture_painter.h"

#define GL_GLEXT_PROTOTYPES
#include <GL/gl.h>
#include <GL/glext.h>

#include "toolkit/video_window.h"

namespace morvane::toolkit {

void PicturePainter::PaintBlack(int width, int height) {
  glViewport(0, 0, width, height);
  glDisable(GL_SCISSOR_TEST);
  glClearColor(0, 0, 0, 1);
  glClear(GL_COLOR_BUFFER_BIT);
}

void PicturePainter::Paint(const FramePicture& picture, uint32_t displayType, int width,
                           int height) {
  PaintBlack(width, height);
  glMatrixMode(GL_PROJECTION);
  glLoadIdentity();
  glOrtho(0, width, 0, height, -1, 1);
  glMatrixMode(GL_MODELVIEW);
  glLoadIdentity();
  glDisable(GL_BLEND);
  glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
  glPixelStorei(GL_UNPACK_ROW_LENGTH, picture.rowBytes / 4);
  const FramePlace place = PlacePicture(picture, width, height);
  if (displayType == NXDISPLAY_DRAWPIXELS) {
    PaintPixels(picture, place);
  } else {
    PaintTexture(picture, place);
  }
}

void PicturePainter::PaintTexture(const FramePicture& picture, const FramePlace& place) {
  if (texture_ == 0) {
    glGenTextures(1, &texture_);
    glBindTexture(GL_TEXTURE_2D, texture_);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_REPLACE);
  }
  glBindTexture(GL_TEXTURE_2D, texture_);
  if (picture.width != textureWidth_ || picture.height != textureHeight_) {
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, picture.width, picture.height, 0, GL_BGRA,
                 GL_UNSIGNED_BYTE, picture.pixels.data());
    textureWidth_ = picture.width;
    textureHeight_ = picture.height;
  } else {
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, picture.width, picture.height, GL_BGRA,
                    GL_UNSIGNED_BYTE, picture.pixels.data());
  }
  glEnable(GL_TEXTURE_2D);
  glBegin(GL_QUADS);
  // The first line in memory is the top one.
  glTexCoord2f(0, 0);
  glVertex2d(place.x, place.y + place.h);
  glTexCoord2f(1, 0);
  glVertex2d(place.x + place.w, place.y + place.h);
  glTexCoord2f(1, 1);
  glVertex2d(place.x + place.w, place.y);
  glTexCoord2f(0, 1);
  glVertex2d(place.x, place.y);
  glEnd();
  glDisable(GL_TEXTURE_2D);
}

bool PicturePainter::ReadBack(std::vector<uint8_t>* bgra, int width, int height) {
  if (texture_ == 0 || width != textureWidth_ || height != textureHeight_) return false;
  bgra->resize(static_cast<size_t>(width) * static_cast<size_t>(height) * 4);
  glBindTexture(GL_TEXTURE_2D, texture_);
  glGetTexImage(GL_TEXTURE_2D, 0, GL_BGRA, GL_UNSIGNED_BYTE, bgra->data());
  return true;
}

void PicturePainter::PaintPixels(const FramePicture& picture, const FramePlace& place) {
  const double across = place.w / picture.width;
  const double down = place.h / picture.height;
  // Unlike a raster position this one may lie outside of the window.
  glWindowPos2d(place.x, place.y + place.h);
  glPixelZoom(static_cast<float>(across), -static_cast<float>(down));
  glDrawPixels(picture.width, picture.height, GL_BGRA, GL_UNSIGNED_BYTE, picture.pixels.data());
}

}  // namespace morvane::toolkit
