// The entries of a security descriptor in SDDL text, for tests that check who may do what to an
// object the product made.
#pragma once

#include <string>
#include <vector>

namespace tv::test {

// One access-control entry: its type ("A" allow, "D" deny, ...), rights as written ("RPWP",
// "0x2", "GA") and trustee ("SY", "S-1-5-5-0-1"); all empty but `type` when it has not six fields.
struct SddlAce {
  std::wstring type, rights, trustee;
};

// Every parenthesised entry of `sddl`, in order.
inline std::vector<SddlAce> SddlAces(const std::wstring& sddl) {
  std::vector<SddlAce> out;
  for (std::size_t open = sddl.find(L'('); open != std::wstring::npos; open = sddl.find(L'(', open + 1)) {
    std::vector<std::wstring> f(1);
    for (std::size_t i = open + 1; i < sddl.size() && sddl[i] != L')'; ++i) {
      if (sddl[i] == L';') f.emplace_back();
      else f.back() += sddl[i];
    }
    out.push_back(f.size() == 6 ? SddlAce{f[0], f[2], f[5]} : SddlAce{L"?" + f[0], L"", L""});
  }
  return out;
}

}  // namespace tv::test
