#include "platform/Signer.h"

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>

#include <vector>

namespace platform {

struct Signer::Key {
    EVP_PKEY* pkey;
    bool isPrivate;
};

namespace {

std::string toBase64(const unsigned char* data, std::size_t length)
{
    std::string out(4 * ((length + 2) / 3) + 1, '\0');
    int n = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(out.data()), data, static_cast<int>(length));
    out.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
    return out;
}

}  // namespace

std::unique_ptr<Signer> Signer::fromPem(std::string_view pem)
{
    BIO* bio = BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size()));
    if (bio == nullptr)
        return nullptr;
    bool isPrivate = true;
    EVP_PKEY* pkey = PEM_read_bio_PrivateKey(bio, nullptr, nullptr, nullptr);
    if (pkey == nullptr) {
        BIO_reset(bio);
        pkey = PEM_read_bio_PUBKEY(bio, nullptr, nullptr, nullptr);
        isPrivate = false;
    }
    BIO_free(bio);
    if (pkey == nullptr || EVP_PKEY_get_base_id(pkey) != EVP_PKEY_RSA) {
        EVP_PKEY_free(pkey);
        return nullptr;
    }
    return std::unique_ptr<Signer>(new Signer(new Key{pkey, isPrivate}));
}

Signer::~Signer()
{
    EVP_PKEY_free(key->pkey);
    delete key;
}

bool Signer::signWithPrivateKey(std::string_view text, std::string& base64) const
{
    if (!key->isPrivate)
        return false;
    EVP_MD_CTX* ctx = EVP_MD_CTX_new();
    if (ctx == nullptr)
        return false;
    std::size_t length = 0;
    std::vector<unsigned char> signature;
    bool ok = EVP_DigestSignInit(ctx, nullptr, EVP_sha256(), nullptr, key->pkey) == 1
        && EVP_DigestSign(ctx, nullptr, &length, reinterpret_cast<const unsigned char*>(text.data()), text.size()) == 1;
    if (ok) {
        signature.resize(length);
        ok = EVP_DigestSign(ctx, signature.data(), &length, reinterpret_cast<const unsigned char*>(text.data()),
                            text.size())
            == 1;
    }
    EVP_MD_CTX_free(ctx);
    if (ok)
        base64 = toBase64(signature.data(), length);
    return ok;
}

bool Signer::encryptWithPublicKey(std::string_view text, std::string& base64) const
{
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int digestLength = 0;
    if (EVP_Digest(text.data(), text.size(), digest, &digestLength, EVP_sha256(), nullptr) != 1)
        return false;
    EVP_PKEY_CTX* ctx = EVP_PKEY_CTX_new(key->pkey, nullptr);
    if (ctx == nullptr)
        return false;
    std::size_t length = 0;
    std::vector<unsigned char> out;
    bool ok = EVP_PKEY_encrypt_init(ctx) == 1 && EVP_PKEY_CTX_set_rsa_padding(ctx, RSA_PKCS1_PADDING) == 1
        && EVP_PKEY_encrypt(ctx, nullptr, &length, digest, digestLength) == 1;
    if (ok) {
        out.resize(length);
        ok = EVP_PKEY_encrypt(ctx, out.data(), &length, digest, digestLength) == 1;
    }
    EVP_PKEY_CTX_free(ctx);
    if (ok)
        base64 = toBase64(out.data(), length);
    return ok;
}

}  // namespace platform
