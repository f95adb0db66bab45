#include "TlsContext.h"

#include <openssl/err.h>
#include <openssl/ssl.h>

#include <csignal>
#include <mutex>

void TlsContext::Free::operator()(SSL_CTX* context) const {
    SSL_CTX_free(context);
}

std::shared_ptr<TlsContext> TlsContext::Create(const std::string& caFile, std::string* error) {
    // OpenSSL writes to its sockets with write(), not send(MSG_NOSIGNAL): a peer that went away
    // must end the write with an error, not the program with SIGPIPE.
    static std::once_flag ignoreBrokenPipes;
    std::call_once(ignoreBrokenPipes, [] { std::signal(SIGPIPE, SIG_IGN); });
    auto tls = std::make_shared<TlsContext>();
    tls->context_.reset(SSL_CTX_new(TLS_client_method()));
    SSL_CTX* context = tls->context_.get();
    if (context == nullptr) {
        *error = "TLS cannot be set up.";
        return nullptr;
    }
    SSL_CTX_set_min_proto_version(context, TLS1_2_VERSION);
    // AES-128-GCM first: as safe for this use, and a quarter cheaper per byte than AES-256 on
    // both ends, which is what bounds a transfer's speed on a fast network.
    SSL_CTX_set_ciphersuites(
        context, "TLS_AES_128_GCM_SHA256:TLS_CHACHA20_POLY1305_SHA256:TLS_AES_256_GCM_SHA384");
    // The certificate is judged after the handshake, where the user can be asked: the handshake
    // itself goes through, and nothing is sent on the connection before that judgement.
    SSL_CTX_set_verify(context, SSL_VERIFY_NONE, nullptr);
    SSL_CTX_set_session_cache_mode(context, SSL_SESS_CACHE_CLIENT | SSL_SESS_CACHE_NO_INTERNAL);
    // No SSL_OP_IGNORE_UNEXPECTED_EOF: data that ends without close_notify may have been cut
    // by anyone on the path, and a listing or an ASCII file has no size to tell.
    // Many records per receive instead of a header and a body each: a download makes a third
    // of the system calls. Every read goes on until OpenSSL wants more before the socket is
    // polled, so bytes held here are never waited on.
    SSL_CTX_set_read_ahead(context, 1);
    SSL_CTX_set_default_read_buffer_len(context, 256 * 1024);
    const bool trusted = caFile.empty()
                             ? SSL_CTX_set_default_verify_paths(context) == 1
                             : SSL_CTX_load_verify_locations(context, caFile.c_str(), nullptr) == 1;
    if (!trusted) {
        ERR_clear_error();
        *error = caFile.empty() ? "The system's certificates cannot be read."
                                : "No certificate can be read from " + caFile + ".";
        return nullptr;
    }
    return tls;
}
