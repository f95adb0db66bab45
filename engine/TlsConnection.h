#pragma once

#include <openssl/types.h>

#include <cstddef>
#include <memory>
#include <string>

class TlsContext;
// As <openssl/ssl.h> names it, without including all of it.
typedef struct ssl_session_st SSL_SESSION;

// TLS over one connected, non-blocking socket. Every call makes what progress it can and says
// what it waits for; the socket's owner does the waiting, bounded and interruptible.
class TlsConnection {
public:
    // Closed: the peer sent close_notify. Cut: the connection ended without it.
    enum class Status { Done, WantRead, WantWrite, Closed, Cut, Failed };
    struct Io {
        Status status = Status::Failed;
        std::size_t bytes = 0;
    };
    // What the user is shown about a certificate that does not verify.
    struct Certificate {
        bool verified = false;  // the chain leads to a trusted root and the name matches
        std::string problem;    // why not: another name first, then OpenSSL's words
        std::string subject;
        std::string issuer;
        std::string notBefore;
        std::string notAfter;
        std::string sha256;  // of the certificate, hex pairs separated by ":"
    };

    // `host` is checked against the certificate (a name, or an IPv4/IPv6 address); `resume`, if
    // not null, is a session to resume (the control connection's, for a data connection).
    TlsConnection(const TlsContext& context, int fd, const std::string& host, SSL_SESSION* resume);
    ~TlsConnection();
    TlsConnection(const TlsConnection&) = delete;
    TlsConnection& operator=(const TlsConnection&) = delete;

    Status Handshake();
    Io Read(char* buffer, std::size_t capacity);
    Io Write(const char* bytes, std::size_t length);
    // Sends close_notify once; does not wait for the peer's.
    void Close();

    Certificate PeerCertificate() const;
    bool Resumed() const;
    // The session for later connections to resume, owned by the caller; null before the
    // handshake.
    SSL_SESSION* TakeSession() const;
    const std::string& LastError() const { return error_; }

private:
    Status StatusOf(int result);

    SSL* ssl_ = nullptr;
    std::string host_;
    std::string error_;
    bool cut_ = false;
};
