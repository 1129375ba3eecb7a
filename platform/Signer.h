#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace platform {

// An RSA key that signs audit lines: SHA-256 of the text, then RSA with
// PKCS #1 v1.5 padding, given as base64. OpenSSL on Linux, CNG on Windows.
class Signer {
public:
    // From PEM text: an RSA private key ("RSA PRIVATE KEY" or "PRIVATE KEY")
    // or public key ("PUBLIC KEY"). Null if the text holds no usable key.
    static std::unique_ptr<Signer> fromPem(std::string_view pem);
    ~Signer();
    Signer(const Signer&) = delete;
    Signer& operator=(const Signer&) = delete;

    // The digest signed with the private key. False without a private key or
    // on any failure.
    bool signWithPrivateKey(std::string_view text, std::string& base64) const;
    // The digest encrypted with the public key (a private key has one too).
    bool encryptWithPublicKey(std::string_view text, std::string& base64) const;

    struct Key;

private:
    explicit Signer(Key* key) : key(key) {}
    Key* key;
};

}  // namespace platform
