#include "tests/deps/Sha256.h"

#include <windows.h>
#include <bcrypt.h>

#include <cstdio>

// The create/hash/finish sequence rather than BCryptHash, which needs Windows 10.
std::string sha256Hex(std::string_view data) {
  BCRYPT_ALG_HANDLE alg = nullptr;
  if (!BCRYPT_SUCCESS(BCryptOpenAlgorithmProvider(&alg, BCRYPT_SHA256_ALGORITHM, nullptr, 0))) {
    return {};
  }
  UCHAR md[32];
  BCRYPT_HASH_HANDLE hash = nullptr;
  bool ok = BCRYPT_SUCCESS(BCryptCreateHash(alg, &hash, nullptr, 0, nullptr, 0, 0)) &&
            BCRYPT_SUCCESS(BCryptHashData(hash, reinterpret_cast<PUCHAR>(const_cast<char*>(data.data())),
                                          static_cast<ULONG>(data.size()), 0)) &&
            BCRYPT_SUCCESS(BCryptFinishHash(hash, md, sizeof md, 0));
  if (hash) {
    BCryptDestroyHash(hash);
  }
  BCryptCloseAlgorithmProvider(alg, 0);
  if (!ok) {
    return {};
  }
  std::string hex;
  char byte[3];
  for (UCHAR b : md) {
    std::snprintf(byte, sizeof byte, "%02x", b);
    hex += byte;
  }
  return hex;
}
