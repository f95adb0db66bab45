#pragma once

#include <cstdlib>
#include <stdexcept>
#include <string>

#include "TempDir.h"

// A self-signed certificate for 127.0.0.1, made once for the whole run, and the lines that put
// vsftpd under TLS with it.
struct TestCertificate {
    TempDir folder{"tarvik-tls"};
    std::string cert = (folder / "cert.pem").string();
    std::string key = (folder / "key.pem").string();

    TestCertificate() {
        const std::string command =
            "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 "
            "-subj /CN=127.0.0.1 -addext subjectAltName=IP:127.0.0.1 -keyout " +
            key + " -out " + cert + " 2>/dev/null";
        if (std::system(command.c_str()) != 0) {
            throw std::runtime_error("openssl could not make a certificate");
        }
    }

    static const TestCertificate& Shared() {
        static const TestCertificate certificate;
        return certificate;
    }

    std::string VsftpdConfig(bool implicit = false) const {
        return "ssl_enable=YES\nallow_anon_ssl=YES\nforce_anon_logins_ssl=YES\n"
               "force_anon_data_ssl=YES\nrsa_cert_file=" +
               cert + "\nrsa_private_key_file=" + key + "\n" +
               (implicit ? "implicit_ssl=YES\n" : "");
    }
};
