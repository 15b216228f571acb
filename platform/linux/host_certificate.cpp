#include "varn/host.h"

#include <openssl/pem.h>
#include <openssl/x509.h>

#include <cerrno>
#include <cstring>

#include "varn/handles.h"
#include "varn/late_library.h"

namespace varn::host {

namespace {

struct Libcrypto : LateLibrary {
    Libcrypto() noexcept : LateLibrary("libcrypto.so.3") {}

    decltype(&::PEM_read_X509) readCertificate = Find("PEM_read_X509");
    decltype(&::PEM_read_PrivateKey) readKey = Find("PEM_read_PrivateKey");
    decltype(&::X509_check_private_key) fits = Find("X509_check_private_key");
    decltype(&::X509_free) freeCertificate = Find("X509_free");
    decltype(&::EVP_PKEY_free) freeKey = Find("EVP_PKEY_free");
};

// A key with a password is refused: nobody would be there to type it.
int NoPassword(char *, int, int, void *) {
    return -1;
}

// What a PEM file holds first; null with a reason.
template <typename Object>
Object *ReadPem(const std::string &path, const char *what,
                Object *(*read)(FILE *, Object **, pem_password_cb *, void *),
                std::string &problem) {
    const File file(std::fopen(path.c_str(), "re"));
    if (!file) {
        problem = "cannot read the " + std::string(what) + " " + path + ": " + std::strerror(errno);
        return nullptr;
    }
    Object *const object = read(file.get(), nullptr, NoPassword, nullptr);
    if (object == nullptr) {
        problem = path + " holds no " + what + " in PEM without a password";
    }
    return object;
}

}  // namespace

Outcome CheckCertificate(const std::string &certificate, const std::string &key) {
    static const Libcrypto library;
    if (!library) {
        return Outcome::Problem(library.Problem());
    }
    std::string problem;
    X509 *const shown = ReadPem(certificate, "certificate", library.readCertificate, problem);
    EVP_PKEY *const kept =
        shown != nullptr ? ReadPem(key, "key", library.readKey, problem) : nullptr;
    if (kept != nullptr && library.fits(shown, kept) != 1) {
        problem = "the key in " + key + " does not belong to the certificate in " + certificate;
    }
    library.freeKey(kept);
    library.freeCertificate(shown);
    return problem.empty() ? Outcome::Good() : Outcome::Problem(problem);
}

}  // namespace varn::host
