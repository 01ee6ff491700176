// Certificates and TLS settings of the loopback servers, made anew at run time and kept in memory.
#pragma once

#include <memory>
#include <string>

struct ssl_ctx_st;

namespace velorin_test {

// What is wrong with the server's certificate, and which TLS versions the server speaks.
struct TlsOptions {
    bool expired = false;
    bool wrong_host = false;  // it names another host than localhost and 127.0.0.1
    bool untrusted = false;   // it is signed by an authority that nobody is told of
    int min_version = 0;      // 0x0301 (TLS 1.0) to 0x0304 (TLS 1.3); 0: TLS 1.2
    int max_version = 0;      // 0: the newest
};

// A certificate authority, a server certificate signed by it, and the TLS context of a server that has it.
// After construction it does not change: threads and servers may share it.
class LoopbackCertificates {
public:
    explicit LoopbackCertificates(const TlsOptions& options = {});  // throws std::runtime_error
    ~LoopbackCertificates();
    LoopbackCertificates(const LoopbackCertificates&) = delete;
    LoopbackCertificates& operator=(const LoopbackCertificates&) = delete;

    // The authority to trust, PEM.
    const std::string& ca_pem() const { return ca_pem_; }
    // False: the file cannot be written (errno).
    bool write_ca(const std::string& path) const;

    ssl_ctx_st* context() const { return context_; }

private:
    ssl_ctx_st* context_ = nullptr;
    std::string ca_pem_;
};

}  // namespace velorin_test
