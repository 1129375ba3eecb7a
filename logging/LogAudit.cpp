#include <string>

#include "logging/Logger.h"
#include "platform/Signer.h"

namespace {

enum class Operation { PRIVATE_KEY, PUBLIC_KEY };

void audit(Logger& category, const platform::Signer* key, const Str& text, Str& out, Operation op)
{
    Str signature;
    if (key == nullptr) {
        signature = "n/a";
    } else {
        std::string sig;
        bool ok = op == Operation::PRIVATE_KEY ? key->signWithPrivateKey(text, sig)
                                               : key->encryptWithPublicKey(text, sig);
        signature = ok ? Str(sig) : Str("encryption error - not valid");
    }
    out.assign("Audit:[").append(text).append("][").append(signature).append("]");
    logInfo(category, out);
}

}  // namespace

void logAudit(Logger& category, const platform::Signer* key, const Str& text, Str& out)
{
    audit(category, key, text, out, Operation::PRIVATE_KEY);
}

void logAudit(Logger& category, const platform::Signer* key, const Str& text)
{
    Str out;
    audit(category, key, text, out, Operation::PRIVATE_KEY);
}

void logAuditPublic(Logger& category, const platform::Signer* key, const Str& text, Str& out)
{
    audit(category, key, text, out, Operation::PUBLIC_KEY);
}

void logAuditPublic(Logger& category, const platform::Signer* key, const Str& text)
{
    Str out;
    audit(category, key, text, out, Operation::PUBLIC_KEY);
}
