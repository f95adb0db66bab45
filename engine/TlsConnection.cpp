#include "TlsConnection.h"

#include <arpa/inet.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <array>
#include <cstdio>

#include "TlsContext.h"

namespace {

bool IsAddress(const std::string& host) {
    std::array<unsigned char, 16> buffer{};
    return inet_pton(AF_INET, host.c_str(), buffer.data()) == 1 ||
           inet_pton(AF_INET6, host.c_str(), buffer.data()) == 1;
}

std::string NameText(X509_NAME* name) {
    std::unique_ptr<BIO, decltype(&BIO_free)> out(BIO_new(BIO_s_mem()), BIO_free);
    X509_NAME_print_ex(out.get(), name, 0, XN_FLAG_ONELINE & ~ASN1_STRFLGS_ESC_MSB);
    char* data = nullptr;
    long length = BIO_get_mem_data(out.get(), &data);
    return std::string(data, static_cast<std::size_t>(std::max(0L, length)));
}

std::string TimeText(const ASN1_TIME* time) {
    std::unique_ptr<BIO, decltype(&BIO_free)> out(BIO_new(BIO_s_mem()), BIO_free);
    ASN1_TIME_print(out.get(), time);
    char* data = nullptr;
    long length = BIO_get_mem_data(out.get(), &data);
    return std::string(data, static_cast<std::size_t>(std::max(0L, length)));
}

std::string Fingerprint(X509* certificate) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int length = 0;
    X509_digest(certificate, EVP_sha256(), digest.data(), &length);
    std::string text;
    for (unsigned int i = 0; i < length; ++i) {
        char pair[4];
        std::snprintf(pair, sizeof pair, i + 1 < length ? "%02X:" : "%02X", digest[i]);
        text += pair;
    }
    return text;
}

bool NameMatches(X509* certificate, const std::string& host) {
    return IsAddress(host)
               ? X509_check_ip_asc(certificate, host.c_str(), 0) == 1
               : X509_check_host(certificate, host.c_str(), host.size(), 0, nullptr) == 1;
}

// What is wrong with a certificate, the name first: a chain error is all OpenSSL reports when
// the chain fails too, and "unable to get local issuer certificate" would hide that the
// certificate belongs to another server.
std::string ProblemOf(long result, bool nameMatches, const std::string& host) {
    const bool nameResult =
        result == X509_V_ERR_HOSTNAME_MISMATCH || result == X509_V_ERR_IP_ADDRESS_MISMATCH;
    std::string problem = nameMatches ? "" : "it is made out to another name than " + host;
    if (result != X509_V_OK && !nameResult) {
        problem +=
            (problem.empty() ? "" : "; ") + std::string(X509_verify_cert_error_string(result));
    }
    return problem;
}

}  // namespace

TlsConnection::TlsConnection(const TlsContext& context, int fd, const std::string& host,
                             SSL_SESSION* resume)
    : ssl_(SSL_new(context.Native())), host_(host) {
    if (ssl_ == nullptr) {
        error_ = "TLS cannot be set up.";
        return;
    }
    SSL_set_fd(ssl_, fd);
    SSL_set_connect_state(ssl_);
    X509_VERIFY_PARAM* check = SSL_get0_param(ssl_);
    if (IsAddress(host)) {
        X509_VERIFY_PARAM_set1_ip_asc(check, host.c_str());
    } else {
        X509_VERIFY_PARAM_set1_host(check, host.c_str(), host.size());
        SSL_set_tlsext_host_name(ssl_, host.c_str());
    }
    if (resume != nullptr) {
        SSL_set_session(ssl_, resume);
    }
}

TlsConnection::~TlsConnection() {
    SSL_free(ssl_);
}

TlsConnection::Status TlsConnection::StatusOf(int result) {
    const int reason = SSL_get_error(ssl_, result);
    switch (reason) {
        case SSL_ERROR_WANT_READ:
            return Status::WantRead;
        case SSL_ERROR_WANT_WRITE:
            return Status::WantWrite;
        case SSL_ERROR_ZERO_RETURN:
            return Status::Closed;
        default: {
            const unsigned long code = ERR_peek_error();
            if (ERR_GET_LIB(code) == ERR_LIB_SSL &&
                ERR_GET_REASON(code) == SSL_R_UNEXPECTED_EOF_WHILE_READING) {
                error_ = "the connection ended without TLS's closing notice";
                ERR_clear_error();
                return Status::Cut;
            }
            const char* text = code != 0 ? ERR_reason_error_string(code) : nullptr;
            error_ = text != nullptr ? text : "the connection was cut";
            ERR_clear_error();
            return Status::Failed;
        }
    }
}

TlsConnection::Status TlsConnection::Handshake() {
    if (ssl_ == nullptr) {
        return Status::Failed;
    }
    const int result = SSL_do_handshake(ssl_);
    return result == 1 ? Status::Done : StatusOf(result);
}

TlsConnection::Io TlsConnection::Read(char* buffer, std::size_t capacity) {
    // After the cut OpenSSL only says "failed": the reason must outlast the read that saw it.
    if (cut_) {
        return {Status::Cut, 0};
    }
    std::size_t got = 0;
    const int result = SSL_read_ex(ssl_, buffer, capacity, &got);
    if (result == 1) {
        return {Status::Done, got};
    }
    const Status status = StatusOf(result);
    cut_ = status == Status::Cut;
    return {status, 0};
}

TlsConnection::Io TlsConnection::Write(const char* bytes, std::size_t length) {
    std::size_t sent = 0;
    const int result = SSL_write_ex(ssl_, bytes, length, &sent);
    return result == 1 ? Io{Status::Done, sent} : Io{StatusOf(result), 0};
}

void TlsConnection::Close() {
    if (ssl_ != nullptr && SSL_is_init_finished(ssl_)) {
        SSL_shutdown(ssl_);
        ERR_clear_error();
    }
}

TlsConnection::Certificate TlsConnection::PeerCertificate() const {
    Certificate certificate;
    std::unique_ptr<X509, decltype(&X509_free)> peer(SSL_get1_peer_certificate(ssl_), X509_free);
    if (!peer) {
        certificate.problem = "the server showed no certificate";
        return certificate;
    }
    const long result = SSL_get_verify_result(ssl_);
    const bool nameMatches = NameMatches(peer.get(), host_);
    certificate.verified = result == X509_V_OK && nameMatches;
    certificate.problem = ProblemOf(result, nameMatches, host_);
    certificate.subject = NameText(X509_get_subject_name(peer.get()));
    certificate.issuer = NameText(X509_get_issuer_name(peer.get()));
    certificate.notBefore = TimeText(X509_get0_notBefore(peer.get()));
    certificate.notAfter = TimeText(X509_get0_notAfter(peer.get()));
    certificate.sha256 = Fingerprint(peer.get());
    return certificate;
}

bool TlsConnection::Resumed() const {
    return ssl_ != nullptr && SSL_session_reused(ssl_) == 1;
}

SSL_SESSION* TlsConnection::TakeSession() const {
    return ssl_ != nullptr ? SSL_get1_session(ssl_) : nullptr;
}
