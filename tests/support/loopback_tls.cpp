#include "loopback_tls.h"

#include <cstdint>
#include <cstdio>
#include <stdexcept>

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

namespace velorin_test {
namespace {

constexpr long kDay = 24 * 60 * 60;

struct Free {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
    void operator()(X509* certificate) const { X509_free(certificate); }
    void operator()(X509_EXTENSION* extension) const { X509_EXTENSION_free(extension); }
    void operator()(BIO* bio) const { BIO_free(bio); }
    void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
};
template <typename Type>
using Owner = std::unique_ptr<Type, Free>;

void require(bool done, const char* what)
{
    if (done) return;
    char reason[256];
    ERR_error_string_n(ERR_get_error(), reason, sizeof reason);
    throw std::runtime_error(std::string("loopback server: ") + what + ": " + reason);
}

Owner<EVP_PKEY> make_key()
{
    Owner<EVP_PKEY> key(EVP_EC_gen("P-256"));
    require(key != nullptr, "no key");
    return key;
}

void add_extension(X509* certificate, X509* issuer, int nid, const char* value)
{
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    const Owner<X509_EXTENSION> extension(X509V3_EXT_conf_nid(nullptr, &context, nid, value));
    require(extension != nullptr && X509_add_ext(certificate, extension.get(), -1) == 1, "no extension");
}

// A certificate without its signature, valid from `from` to `to` seconds from now. `issuer` null: its own.
Owner<X509> make_certificate(const char* name, EVP_PKEY* key, X509* issuer, long from, long to)
{
    Owner<X509> certificate(X509_new());
    require(certificate != nullptr, "no certificate");
    unsigned char serial[8];
    require(RAND_bytes(serial, sizeof serial) == 1, "no random number");
    std::uint64_t number = 0;
    for (const unsigned char octet : serial)
        number = number << 8 | octet;
    X509_NAME* const subject = X509_get_subject_name(certificate.get());
    const bool done =
        X509_set_version(certificate.get(), X509_VERSION_3) == 1 &&
        ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate.get()), number >> 1) == 1 &&
        X509_gmtime_adj(X509_getm_notBefore(certificate.get()), from) != nullptr &&
        X509_gmtime_adj(X509_getm_notAfter(certificate.get()), to) != nullptr &&
        X509_set_pubkey(certificate.get(), key) == 1 &&
        X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>(name),
                                   -1, -1, 0) == 1 &&
        X509_set_issuer_name(certificate.get(),
                             issuer != nullptr ? X509_get_subject_name(issuer) : subject) == 1;
    require(done, "no certificate");
    return certificate;
}

Owner<X509> make_authority(EVP_PKEY* key, const char* name)
{
    Owner<X509> authority = make_certificate(name, key, nullptr, -kDay, 30 * kDay);
    add_extension(authority.get(), authority.get(), NID_basic_constraints, "critical,CA:TRUE");
    add_extension(authority.get(), authority.get(), NID_key_usage, "critical,keyCertSign,cRLSign");
    add_extension(authority.get(), authority.get(), NID_subject_key_identifier, "hash");
    require(X509_sign(authority.get(), key, EVP_sha256()) != 0, "no signature");
    return authority;
}

std::string pem_of(X509* certificate)
{
    const Owner<BIO> memory(BIO_new(BIO_s_mem()));
    require(memory != nullptr && PEM_write_bio_X509(memory.get(), certificate) == 1, "no PEM text");
    char* text = nullptr;
    const long length = BIO_get_mem_data(memory.get(), &text);
    return {text, static_cast<std::size_t>(length)};
}

}  // namespace

LoopbackCertificates::LoopbackCertificates(const TlsOptions& options)
{
    const Owner<EVP_PKEY> known_key = make_key();
    const Owner<X509> known = make_authority(known_key.get(), "Loopback test authority");
    ca_pem_ = pem_of(known.get());

    const Owner<EVP_PKEY> other_key = options.untrusted ? make_key() : nullptr;
    const Owner<X509> other =
        options.untrusted ? make_authority(other_key.get(), "Nobody's authority") : nullptr;
    X509* const signer = options.untrusted ? other.get() : known.get();
    EVP_PKEY* const signer_key = options.untrusted ? other_key.get() : known_key.get();

    const Owner<EVP_PKEY> key = make_key();
    const Owner<X509> own =
        make_certificate(options.wrong_host ? "elsewhere.example" : "localhost", key.get(), signer,
                         options.expired ? -3 * kDay : -kDay, options.expired ? -2 * kDay : 7 * kDay);
    add_extension(own.get(), signer, NID_basic_constraints, "critical,CA:FALSE");
    add_extension(own.get(), signer, NID_ext_key_usage, "serverAuth");
    add_extension(own.get(), signer, NID_authority_key_identifier, "keyid");
    add_extension(own.get(), signer, NID_subject_alt_name,
                  options.wrong_host ? "DNS:elsewhere.example" : "DNS:localhost,IP:127.0.0.1");
    require(X509_sign(own.get(), signer_key, EVP_sha256()) != 0, "no signature");

    Owner<SSL_CTX> context(SSL_CTX_new(TLS_server_method()));
    require(context != nullptr, "no TLS context");
    const int lowest = options.min_version != 0 ? options.min_version : TLS1_2_VERSION;
    const int highest = options.max_version;
    const bool old_versions = lowest < TLS1_2_VERSION || (highest != 0 && highest < TLS1_2_VERSION);
    // Versions before 1.2 need SHA-1 signatures, which the default security level forbids.
    const bool done = (!old_versions || SSL_CTX_set_cipher_list(context.get(), "DEFAULT@SECLEVEL=0") == 1) &&
                      SSL_CTX_set_min_proto_version(context.get(), lowest) == 1 &&
                      SSL_CTX_set_max_proto_version(context.get(), highest) == 1 &&
                      SSL_CTX_use_certificate(context.get(), own.get()) == 1 &&
                      SSL_CTX_use_PrivateKey(context.get(), key.get()) == 1;
    require(done, "no TLS context");
    context_ = context.release();
}

LoopbackCertificates::~LoopbackCertificates()
{
    SSL_CTX_free(context_);
}

bool LoopbackCertificates::write_ca(const std::string& path) const
{
    std::FILE* const file = std::fopen(path.c_str(), "w");
    if (file == nullptr) return false;
    const bool written = std::fwrite(ca_pem_.data(), 1, ca_pem_.size(), file) == ca_pem_.size();
    return std::fclose(file) == 0 && written;
}

}  // namespace velorin_test
