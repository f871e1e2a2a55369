// Answers to HTTP authentication challenges (Basic, and Digest with MD5 or
// MD5-sess and qop "auth"), and the process-wide cache of the challenges each
// server last sent, so that the next request to that server can answer at
// once.
#pragma once

#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "support/thread/guid.h"

namespace Qz {

// The value of an "Authorization" (or "Proxy-Authorization") line for a
// request of `method` on `uri`, given the challenge header values a server
// sent, in the order it sent them. `credentials` is user, ":", password.
//
// The first challenge that can be answered is: a Digest one this code
// supports, or a Basic one. Anything else - an unknown scheme, a Digest
// challenge without a quoted realm or nonce, another algorithm, a qop other
// than exactly "auth", credentials without a ":" - is passed over. With none
// left the result is false and `result` untouched: the password readable in
// Basic goes only to a server that asked for Basic. With no challenge at
// all the answer is Basic, which the caller sends only where the channel
// hides it. Throws only what `makeCnonce` throws.
//
// Digest answers are each a first use of the nonce (nc 00000001) with a new
// client nonce from `makeCnonce`; a test passes a fixed one.
bool authAnswer(const std::string& method, const std::vector<std::string>& challenges, const std::string& credentials,
                const std::string& uri, std::string& result, std::string (*makeCnonce)());

inline bool authAnswer(const std::string& method, const std::vector<std::string>& challenges,
                       const std::string& credentials, const std::string& uri, std::string& result) {
    return authAnswer(method, challenges, credentials, uri, result, makeGuidString);
}

// Challenge header values by server. The key is the server's hostAndPort, or
// for a tunnel's proxy its host, ":" and port. Entries live until the
// process ends. Any thread: each call takes the lock and hands out a copy,
// and the first call of instance() is safe from two threads at once.
class authCache {
public:
    static authCache& instance();

    // A copy of the list stored under `key`; empty if there is none.
    std::vector<std::string> get(const std::string& key);
    // Replaces the list stored under `key`.
    void set(const std::string& key, const std::vector<std::string>& challenges);

private:
    std::mutex lock;
    std::unordered_map<std::string, std::vector<std::string>> entries;
};

} // namespace Qz
