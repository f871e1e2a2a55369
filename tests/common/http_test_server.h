// The scripted HTTP server (tests/servers/http_server.py) for one scope:
// files it serves, and the request heads it received, byte for byte.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "common/server_process.h"

class HttpTestServer {
public:
    // Serves `files` (name to bytes) under /file/<name>; with a certificate
    // name ("good", "expired", "wrongname", "unknown") over TLS 1.2, with the
    // test CA made a trusted root first.
    explicit HttpTestServer(const std::map<std::string, std::string>& files, const std::string& certificate = "");
    ~HttpTestServer();
    HttpTestServer(const HttpTestServer&) = delete;
    HttpTestServer& operator=(const HttpTestServer&) = delete;

    std::string port() const { return server->portText(); }
    // Each request head received since the last clearRequests, with its
    // closing empty line, in the order of arrival.
    std::vector<std::string> requests() const;
    void clearRequests();

private:
    std::string folder; // a Unix path, for the script
    std::vector<std::string> names;
    std::unique_ptr<ServerProcess> server;
};
