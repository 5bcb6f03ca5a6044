#include "base/message_hook.h"

#include <mutex>

namespace morvane {
namespace {

std::mutex g_mutex;
MessageHook g_hook = nullptr;  // both under g_mutex
void* g_context = nullptr;

}  // namespace

void SetMessageHook(MessageHook hook, void* context) {
  std::lock_guard lock(g_mutex);
  g_hook = hook;
  g_context = context;
}

void ShowMessage(const char* caption, const char* text) {
  MessageHook hook;
  void* context;
  {
    std::lock_guard lock(g_mutex);
    hook = g_hook;
    context = g_context;
  }
  if (hook != nullptr) hook(context, caption, text);  // not under the lock: a box may stay for long
}

}  // namespace morvane
