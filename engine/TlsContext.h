#pragma once

#include <openssl/types.h>

#include <memory>
#include <string>

// The client side's TLS settings for every connection of a session: TLS 1.2 at least, peers
// checked against the system's certificate store or only against the certificates of one file,
// and sessions kept so that data connections can resume the control connection's session (which
// servers such as vsftpd require).
class TlsContext {
public:
    // `caFile` empty: the system's store. Null, with the reason in `error`, when it cannot be set
    // up (a file that holds no certificate, for one).
    static std::shared_ptr<TlsContext> Create(const std::string& caFile, std::string* error);

    SSL_CTX* Native() const { return context_.get(); }

private:
    struct Free {
        void operator()(SSL_CTX* context) const;
    };
    std::unique_ptr<SSL_CTX, Free> context_;
};
