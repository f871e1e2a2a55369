#include "common/http_test_server.h"

#include "common/test_files.h"
#include "support/net/winsock.h"

namespace {

int serversMade = 0;

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
