#include "foundation/data_folder.h"

#include "foundation/product_info.h"
#include "platform/last_error.h"

namespace tv {

BOOL GetDataFolder(wchar_t* buffer, CommonFolderSource source) {
  if (!buffer) return Fail(err::kInvalidParameter);
  buffer[0] = L'\0';
  if (!source) source = GetCommonAppDataFolder;
  const BOOL found = source(buffer, kDataFolderChars);
  // A source must not leave an unterminated buffer behind, but a stand-in might.
  buffer[kDataFolderChars - 1] = L'\0';
  if (!found || !buffer[0]) {
    const ErrorCode code = GetLastErrorCode();
    buffer[0] = L'\0';
    return Fail(code ? code : err::kPathNotFound);
  }
  std::size_t length = 0;
  while (buffer[length]) ++length;
  auto append = [&](const wchar_t* text) {
    // The cut at the buffer's size is deliberate: the product's paths are MAX_PATH strings.
    while (*text && length + 1 < kDataFolderChars) buffer[length++] = *text++;
    buffer[length] = L'\0';
  };
  const wchar_t last = buffer[length - 1];
  if (last != L'\\' && last != L'/') append(L"\\");
  append(GetMyProductInfo()->GetNickName());
  return kTrue;
}

}  // namespace tv
