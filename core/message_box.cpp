#include <cstdio>
#include <mutex>

#include "relief/MessageBox.h"

namespace {
std::mutex g_handlerMutex;
std::function<void(const std::string&)> g_handler;
}  // namespace

void SetMessageBoxHandler(std::function<void(const std::string&)> handler) {
  std::lock_guard<std::mutex> lock(g_handlerMutex);
  g_handler = std::move(handler);
}

void ShowMessageBox(const std::string& text) {
  std::function<void(const std::string&)> handler;
  {
    std::lock_guard<std::mutex> lock(g_handlerMutex);
    handler = g_handler;
  }
  if (handler) {
    handler(text);
  } else {
    std::fprintf(stderr, "%s\n", text.c_str());
  }
}
