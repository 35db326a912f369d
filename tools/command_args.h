// The command line of a tool as wide strings outside Windows, where main() gets bytes in the
// user's locale (the Windows build gets wide arguments from wmain and needs none of this).
#pragma once

#ifndef _WIN32
#include <cstddef>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

namespace tv {

// argv[1..argc) decoded in the current C locale (call setlocale first). False, with `out`
// untouched, when an argument is not text in that locale.
inline bool DecodeCommandArgs(int argc, char** argv, std::vector<std::wstring>& out) {
  std::vector<std::wstring> args;
  for (int i = 1; i < argc; ++i) {
    const std::size_t n = std::mbstowcs(nullptr, argv[i], 0);
    if (n == static_cast<std::size_t>(-1)) return false;
    std::wstring arg(n + 1, L'\0');
    std::mbstowcs(arg.data(), argv[i], arg.size());
    arg.resize(n);
    args.push_back(std::move(arg));
  }
  out = std::move(args);
  return true;
}

}  // namespace tv
#endif
