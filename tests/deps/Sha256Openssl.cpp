#include "tests/deps/Sha256.h"

#include <openssl/evp.h>

#include <cstdio>
#include <memory>

std::string sha256Hex(std::string_view data) {
  std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> ctx(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
  unsigned char md[EVP_MAX_MD_SIZE];
  unsigned int len = 0;
  if (!ctx || EVP_DigestInit_ex(ctx.get(), EVP_sha256(), nullptr) != 1 ||
      EVP_DigestUpdate(ctx.get(), data.data(), data.size()) != 1 ||
      EVP_DigestFinal_ex(ctx.get(), md, &len) != 1) {
    return {};
  }
  std::string hex;
  char byte[3];
  for (unsigned int i = 0; i < len; ++i) {
    std::snprintf(byte, sizeof byte, "%02x", md[i]);
    hex += byte;
  }
  return hex;
}
