#include "toolkit/qt/gl_memory.h"

#define GL_GLEXT_PROTOTYPES
#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GL/gl.h>
#include <GL/glext.h>

namespace morvane::toolkit {
namespace {

// The display without a screen, made once and kept to the end of the program.
EGLDisplay Display() {
  static const EGLDisplay display = [] {
    const EGLDisplay made =
        eglGetPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
    const bool usable = made != EGL_NO_DISPLAY && eglInitialize(made, nullptr, nullptr) == EGL_TRUE;
    return usable ? made : EGL_NO_DISPLAY;
  }();
  return display;
}

EGLConfig Config() {
  static const EGLConfig config = [] {
    const EGLint wanted[] = {EGL_SURFACE_TYPE, 0, EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_NONE};
    EGLConfig found = nullptr;
    EGLint count = 0;
    eglChooseConfig(Display(), wanted, &found, 1, &count);
    return count > 0 ? found : nullptr;
  }();
  return config;
}

bool Bind(EGLContext context) {
  // The bound interface is a property of each thread.
  return eglBindAPI(EGL_OPENGL_API) == EGL_TRUE &&
         eglMakeCurrent(Display(), EGL_NO_SURFACE, EGL_NO_SURFACE, context) == EGL_TRUE;
}

}  // namespace

std::unique_ptr<GlMemory> GlMemory::Create() {
  if (Display() == EGL_NO_DISPLAY || Config() == nullptr) return nullptr;
  if (eglBindAPI(EGL_OPENGL_API) != EGL_TRUE) return nullptr;
  std::unique_ptr<GlMemory> made(new GlMemory);
  // Without a version the context is one that has all the old operations.
  made->context_ = eglCreateContext(Display(), Config(), EGL_NO_CONTEXT, nullptr);
  if (made->context_ == EGL_NO_CONTEXT) return nullptr;
  return made;
}

GlMemory::~GlMemory() {
  if (context_ != EGL_NO_CONTEXT) eglDestroyContext(Display(), context_);
}

bool GlMemory::Enter(int width, int height) {
  if (width < 1 || height < 1 || !Bind(context_)) return false;
  if (frame_ == 0) {
    glGenFramebuffers(1, &frame_);
    glGenRenderbuffers(1, &pixels_);
  }
  glBindFramebuffer(GL_FRAMEBUFFER, frame_);
  glBindRenderbuffer(GL_RENDERBUFFER, pixels_);
  if (width != width_ || height != height_) {
    glRenderbufferStorage(GL_RENDERBUFFER, GL_RGBA8, width, height);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, pixels_);
    width_ = width;
    height_ = height;
  }
  if (glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE) return true;
  Leave();
  width_ = height_ = 0;
  return false;
}

void GlMemory::Read(uint8_t* bgra) {
  glReadPixels(0, 0, width_, height_, GL_BGRA, GL_UNSIGNED_BYTE, bgra);
}

void GlMemory::Leave() {
  eglMakeCurrent(Display(), EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
}

}  // namespace morvane::toolkit
