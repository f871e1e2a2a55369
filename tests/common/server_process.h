// A test server on loopback: a Python script from tests/servers/, run as a
// native program beside Wine for the length of one scope.
//
// Wine gives a native child neither our standard handles nor a process
// handle, so the two talk over a "lifeline": a loopback connection that the
// script makes back to us when it starts (it is told the port with
// "--lifeline <port>"). Its first line is "PORT <n>", the port the server
// listens on. When the lifeline closes (this object going away, or this process dying)
// the script ends, so no server outlives its test.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

class ServerProcess {
public:
    // Starts tests/servers/<script> with `arguments` and waits (up to 20 s)
    // for its port. Throws std::runtime_error if it does not come up.
    ServerProcess(const std::string& script, const std::vector<std::string>& arguments);
    // Closes the lifeline and waits (up to 10 s) for the script to end.
    ~ServerProcess();
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    int port() const { return number; }
    std::string portText() const { return std::to_string(number); }

private:
    void stop();

    uintptr_t lifeline; // a SOCKET
    int number = 0;
};

// Starts Winsock once for the test process (the library leaves that to the
// program). Call before the first socket.
void startWinsock();

// The folder of tests/servers/ and the generated test certificates, as
// Unix paths for the scripts.
std::string testServersFolder();
std::string testCertificatesFolder();
// Makes the build's test CA (ca.pem of that folder) a trusted root of the
// throw-away Wine prefix, for this process and the programs it starts; once
// per process. Throws std::runtime_error if the store refuses it.
void trustTestAuthority();
// A Unix path as this process reaches it (the Z: drive).
std::wstring windowsPathOf(const std::string& unixPath);
