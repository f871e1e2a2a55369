#include "common/http_test_server.h"

#include <stdexcept>

#include "common/test_files.h"
#include "support/net/winsock.h"

#include <wincrypt.h>

namespace {

int serversMade = 0;

// The build's test CA becomes a trusted root of the (throw-away) Wine
// prefix, for this process and the programs it starts.
void trustTestAuthority() {
    static const bool trusted = [] {
        const std::string pem = readWholeFile(windowsPathOf(testCertificatesFolder() + "/ca.pem"));
        DWORD size = 0;
        CryptStringToBinaryA(pem.c_str(), DWORD(pem.size()), CRYPT_STRING_BASE64HEADER, NULL, &size, NULL, NULL);
        std::vector<BYTE> der(size);
        if (!CryptStringToBinaryA(pem.c_str(), DWORD(pem.size()), CRYPT_STRING_BASE64HEADER, der.data(), &size, NULL,
                                  NULL))
            return false;
        HCERTSTORE root = CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, CERT_SYSTEM_STORE_CURRENT_USER, L"ROOT");
        const BOOL added = CertAddEncodedCertificateToStore(root, X509_ASN_ENCODING, der.data(), size,
                                                            CERT_STORE_ADD_REPLACE_EXISTING, NULL);
        CertCloseStore(root, 0);
        return added != FALSE;
    }();
    if (!trusted)
        throw std::runtime_error("the test CA could not be made a trusted root");
}

} // namespace

HttpTestServer::HttpTestServer(const std::map<std::string, std::string>& files, const std::string& certificate)
    : folder("/tmp/fxhost-http-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(++serversMade)) {
    CreateDirectoryW(windowsPathOf(folder).c_str(), NULL);
    for (const auto& file : files) {
        writeWholeFile(windowsPathOf(folder + "/" + file.first), file.second);
        names.push_back(file.first);
    }
    names.push_back("requests.log");
    clearRequests();
    std::vector<std::string> arguments = {"--root", folder, "--log", folder + "/requests.log"};
    if (!certificate.empty()) {
        trustTestAuthority();
        arguments.insert(arguments.end(), {"--certs", testCertificatesFolder(), "--cert", certificate});
    }
    server.reset(new ServerProcess("http_server.py", arguments));
}

HttpTestServer::~HttpTestServer() {
    server.reset();
    for (const std::string& name : names)
        DeleteFileW(windowsPathOf(folder + "/" + name).c_str());
    RemoveDirectoryW(windowsPathOf(folder).c_str());
}

std::vector<std::string> HttpTestServer::requests() const {
    const std::string log = readWholeFile(windowsPathOf(folder + "/requests.log"));
    std::vector<std::string> heads;
    for (size_t at = 0; at < log.size();) {
        size_t end = log.find("\r\n\r\n", at);
        end = end == std::string::npos ? log.size() : end + 4;
        heads.push_back(log.substr(at, end - at));
        at = end;
    }
    return heads;
}

void HttpTestServer::clearRequests() { writeWholeFile(windowsPathOf(folder + "/requests.log"), ""); }
