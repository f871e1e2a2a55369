#include "support/net/socket_factory.h"

namespace Qz {

namespace {

class systemSocketFactory : public socketFactory {
public:
    std::shared_ptr<tlsSocket> newTlsSocket(uint32_t flags) override {
        return std::make_shared<tlsSocket>(std::make_shared<tcpSocket>(), flags);
    }
    std::shared_ptr<tcpSocket> newTcpSocket() override { return std::make_shared<tcpSocket>(); }
    std::shared_ptr<tlsSocket> wrapTls(std::shared_ptr<netSocket> connected, const std::string& host,
                                       uint32_t flags, std::shared_ptr<netSocket> earlier) override {
        std::shared_ptr<tlsSocket> channel = std::make_shared<tlsSocket>(std::move(connected), flags);
        channel->handshakeOver(host, (flags & tlsServer) != 0, earlier.get());
        return channel;
    }
};

} // namespace

socketFactory& sockets() {
    static systemSocketFactory factory;
    return factory;
}

} // namespace Qz
