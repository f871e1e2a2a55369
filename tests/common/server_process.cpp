#include "server_process.h"

#include <stdexcept>

#include "common/test_files.h"
#include "support/net/winsock.h"
#include "support/text/utf.h"

#include <wincrypt.h>

void startWinsock() {
    static const bool started = [] {
        WSADATA data;
        return WSAStartup(MAKEWORD(2, 2), &data) == 0;
    }();
    if (!started)
        throw std::runtime_error("Winsock does not start");
}

std::string testServersFolder() { return FXHOST_TEST_SERVERS; }
std::string testCertificatesFolder() { return FXHOST_TEST_CERTIFICATES; }

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

std::wstring windowsPathOf(const std::string& unixPath) {
    std::wstring path = L"Z:" + Qz::utf8ToWide(unixPath);
    for (wchar_t& c : path)
        if (c == L'/')
            c = L'\\';
    return path;
}

namespace {

// Test arguments carry no quotes and no backslashes before one.
std::wstring quoted(const std::string& argument) { return L"\"" + Qz::utf8ToWide(argument) + L"\""; }

bool readable(SOCKET s, double seconds) {
    fd_set set;
    FD_ZERO(&set);
    FD_SET(s, &set);
    timeval limit = {long(seconds), long((seconds - long(seconds)) * 1000000)};
    return select(0, &set, NULL, NULL, &limit) > 0;
}

} // namespace

ServerProcess::ServerProcess(const std::string& script, const std::vector<std::string>& arguments)
    : lifeline(INVALID_SOCKET) {
    startWinsock();
    SOCKET listener = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int size = sizeof address;
    if (bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 || listen(listener, 1) != 0 ||
        getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        closesocket(listener);
        throw std::runtime_error("test server: no lifeline");
    }

    std::wstring command = L"python3 -u " + quoted(testServersFolder() + "/" + script) + L" --lifeline " +
                           std::to_wstring(ntohs(address.sin_port));
    for (const std::string& argument : arguments)
        command += L" " + quoted(argument);
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started = {};
    // A native program: Wine runs it as such, and hands back no handles.
    if (!CreateProcessW(L"Z:\\usr\\bin\\python3", &command[0], NULL, NULL, FALSE, 0, NULL, NULL, &startup,
                        &started)) {
        closesocket(listener);
        throw std::runtime_error("test server: python3 does not start (" + std::to_string(GetLastError()) + ")");
    }
    // For a native program Wine leaves no process handle and fills the
    // thread's fields with whatever it had: closing that value could close
    // a handle of ours, such as standard output.
    if (started.hProcess) {
        CloseHandle(started.hThread);
        CloseHandle(started.hProcess);
    }

    if (readable(listener, 20))
        lifeline = accept(listener, NULL, NULL);
    closesocket(listener);
    if (lifeline == INVALID_SOCKET)
        throw std::runtime_error("test server " + script + " did not call back");
    // The port line is all the script ever sends.
    std::string line;
    char buffer[256];
    int got;
    while (line.find('\n') == std::string::npos && readable(SOCKET(lifeline), 20) &&
           (got = recv(SOCKET(lifeline), buffer, sizeof buffer, 0)) > 0)
        line.append(buffer, size_t(got));
    if (line.compare(0, 5, "PORT ") != 0 || line.find('\n') == std::string::npos) {
        stop();
        throw std::runtime_error("test server " + script + " did not report its port: " + line);
    }
    number = std::stoi(line.substr(5));
}

ServerProcess::~ServerProcess() { stop(); }

void ServerProcess::stop() {
    if (lifeline == INVALID_SOCKET)
        return;
    shutdown(SOCKET(lifeline), SD_SEND);
    // The script closes its end as it exits.
    const ULONGLONG deadline = GetTickCount64() + 10000;
    while (GetTickCount64() < deadline && readable(SOCKET(lifeline), 0.1)) {
        char scrap[256];
        if (recv(SOCKET(lifeline), scrap, sizeof scrap, 0) <= 0)
            break;
    }
    closesocket(SOCKET(lifeline));
    lifeline = INVALID_SOCKET;
}
