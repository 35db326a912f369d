// tv-regxml: exports a registry key to a settings file and imports one into it, on the store the
// product uses (the real registry on Windows). Elsewhere that store lives in memory, so --store
// FILE loads the key's root from a settings file first and saves it back after an import.
//
//   tv-regxml [--store FILE] export KEYPATH FILE
//   tv-regxml [--store FILE] import KEYPATH FILE
#include <clocale>
#include <cstdio>
#include <string>
#include <vector>

#include "command_args.h"
#include "regxml_command.h"

namespace {

int Run(const std::vector<std::wstring>& args) {
  std::wstring out, err;
  const int code = tv::RunRegXml(args, out, err);
  if (!out.empty()) std::fwprintf(stdout, L"%ls", out.c_str());
  if (!err.empty()) std::fwprintf(stderr, L"%ls", err.c_str());
  return code;
}

}  // namespace

#ifdef _WIN32
int wmain(int argc, wchar_t** argv) { return Run(std::vector<std::wstring>(argv + 1, argv + argc)); }
#else
int main(int argc, char** argv) {
  std::setlocale(LC_ALL, "");
  std::vector<std::wstring> args;
  if (!tv::DecodeCommandArgs(argc, argv, args)) {
    std::fwprintf(stderr, L"tv-regxml: an argument is not text in this locale\n");
    return tv::kRegXmlUsage;
  }
  return Run(args);
}
#endif
