#include "update/sha256.h"

#include <gtest/gtest.h>

#include <string>

namespace tv {
namespace {

std::wstring Hex(const std::string& message) { return DigestToHex(Sha256Of(message.data(), message.size())); }

// The FIPS 180 examples (NIST CSRC "SHA256.pdf", "SHA2_Additional.pdf") and the padding edges
// around one block: 55 bytes still fit the length in the first block, 56 and 64 need a second.
TEST(Sha256, KnownVectorsInOnePieceAndInPieces) {
  struct Vector {
    std::string message;
    const wchar_t* digest;
  };
  const Vector vectors[] = {
      {"", L"e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
      {"abc", L"ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
      {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
       L"248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
      {"abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmnoijklmnopjklmnopqklmnopqrlmnopqrsmnopqrst"
       "nopqrstu",
       L"cf5b16a778af8380036ce59e7b0492370b249b11e8f07a51afac45037afee9d1"},
      {std::string(1000000, 'a'), L"cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
      {std::string(55, 'a'), L"9f4390f8d30c2dd92ec9f095b65e2b9ae9b0a925a5258e241c9f1e910f734318"},
      {std::string(56, 'a'), L"b35439a4ac6f0948b6d6f9e3c6af0f5f590ce20f1bde7090ef7970686ec6738a"},
      {std::string(64, 'a'), L"ffe054fe7ae0cb6dc65c3af9b61d5209f439851db43d0ba5997337df154668eb"},
  };
  for (const Vector& v : vectors) {
    EXPECT_EQ(Hex(v.message), v.digest) << v.message.size() << " bytes";
    // Pieces of awkward sizes cross the block boundary at every offset.
    Sha256 hash;
    for (std::size_t at = 0, step = 1; at < v.message.size(); at += step, step = step % 67 + 1)
      hash.Update(v.message.data() + at, std::min(step, v.message.size() - at));
    EXPECT_EQ(DigestToHex(hash.Finish()), v.digest) << v.message.size() << " bytes in pieces";
  }
}

TEST(Sha256, HexDigestsAreReadOnlyWhenWhole) {
  const Sha256::Digest abc = Sha256Of("abc", 3);
  Sha256::Digest read{};
  EXPECT_TRUE(DigestFromHex(L"BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD", read));
  EXPECT_EQ(read, abc) << "either case";
  const Sha256::Digest before = read;
  for (const std::wstring& bad : {std::wstring(63, L'a'), std::wstring(65, L'a'), std::wstring(),
                                 std::wstring(63, L'a') + L"g", std::wstring(62, L'a') + L" a"}) {
    EXPECT_FALSE(DigestFromHex(bad, read)) << testing::PrintToString(bad);
    EXPECT_EQ(read, before) << "untouched on refusal";
  }
}

}  // namespace
}  // namespace tv
