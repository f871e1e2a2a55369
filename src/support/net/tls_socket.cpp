#include "support/net/tls_socket.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "support/error/error.h"
#include "support/net/winsock.h"
#include "support/text/utf.h"

#define SECURITY_WIN32
#include <security.h>
#include <schannel.h>
#include <wincrypt.h>

namespace Qz {

const kindGuid tlsSocketKind = {0x2D6B00FB, 0x6C6E, 0x4FE9, {0xA1, 0xCF, 0xFD, 0x5C, 0x1F, 0x18, 0x96, 0x9B}};

namespace {

// SChannel is reached through the provider's function table, loaded on the
// first TLS connection: importing Secur32 would make every run, https or
// not, load and start its security packages (Kerberos, NTLM) at start-up.
PSecurityFunctionTableW sspi() {
    static const PSecurityFunctionTableW table = []() -> PSecurityFunctionTableW {
        HMODULE library = LoadLibraryExW(L"secur32.dll", NULL, 0x800); // LOAD_LIBRARY_SEARCH_SYSTEM32
        if (!library)
            return nullptr;
        typedef PSecurityFunctionTableW(WINAPI * Init)();
        FARPROC init = GetProcAddress(library, "InitSecurityInterfaceW");
        return init ? reinterpret_cast<Init>(reinterpret_cast<void*>(init))() : nullptr;
    }();
    if (!table)
        throw std::runtime_error("TLS is not available");
    return table;
}


// ISC_REQ_REPLAY_DETECT | ISC_REQ_SEQUENCE_DETECT | ISC_REQ_CONFIDENTIALITY |
// ISC_REQ_ALLOCATE_MEMORY | ISC_REQ_EXTENDED_ERROR | ISC_REQ_STREAM
const ULONG clientRequest = 0xC11C;
// SCH_CRED_NO_SYSTEM_MAPPER | SCH_CRED_MANUAL_CRED_VALIDATION |
// SCH_CRED_NO_DEFAULT_CREDS | SCH_CRED_REVOCATION_CHECK_CHAIN: the
// certificate is judged here, not silently by the provider.
const DWORD clientCredentialFlags = 0x21A;

static_assert(sizeof(securityHandle) == sizeof(SecHandle), "securityHandle mirrors SecHandle");

SecHandle* native(securityHandle& handle) { return reinterpret_cast<SecHandle*>(&handle); }

void freeCredentials(securityHandle* handle) {
    if (!handle->empty())
        sspi()->FreeCredentialsHandle(native(*handle));
    delete handle;
}

std::shared_ptr<securityHandle> acquireClientCredentials(uint32_t protocols, const void* certificate) {
    SCHANNEL_CRED data = {};
    data.dwVersion = SCHANNEL_CRED_VERSION;
    PCCERT_CONTEXT own = static_cast<PCCERT_CONTEXT>(certificate);
    if (own) {
        data.cCreds = 1;
        data.paCred = &own;
    }
    data.grbitEnabledProtocols = protocols;
    data.dwFlags = clientCredentialFlags;
    std::shared_ptr<securityHandle> handle(new securityHandle, freeCredentials);
    TimeStamp expiry;
    wchar_t package[] = UNISP_NAME_W;
    if (sspi()->AcquireCredentialsHandleW(NULL, package, SECPKG_CRED_OUTBOUND, NULL, &data, NULL, NULL,
                                  native(*handle), &expiry) != SEC_E_OK) {
        *handle = securityHandle();
        throw exception_network_authentication();
    }
    return handle;
}

struct chainDeleter {
    void operator()(PCCERT_CHAIN_CONTEXT chain) const { CertFreeCertificateChain(chain); }
};

void checkServerCertificate(PCCERT_CONTEXT certificate, const std::wstring& host) {
    if (!certificate)
        throwSecurityError(uint32_t(SEC_E_WRONG_PRINCIPAL));
    if (CertVerifyTimeValidity(NULL, certificate->pCertInfo) != 0)
        throwSecurityError(uint32_t(SEC_E_CERT_EXPIRED));

    CERT_CHAIN_PARA chainPara = {};
    chainPara.cbSize = sizeof chainPara;
    PCCERT_CHAIN_CONTEXT rawChain = nullptr;
    SetLastError(0);
    if (!CertGetCertificateChain(NULL, certificate, NULL, certificate->hCertStore, &chainPara, 0, NULL, &rawChain))
        throwLastSecurityError();
    std::unique_ptr<const CERT_CHAIN_CONTEXT, chainDeleter> chain(rawChain);

    std::wstring name = host;
    SSL_EXTRA_CERT_CHAIN_POLICY_PARA ssl = {};
    ssl.cbSize = sizeof ssl;
    ssl.dwAuthType = AUTHTYPE_SERVER;
    ssl.fdwChecks = 0;
    ssl.pwszServerName = &name[0];
    CERT_CHAIN_POLICY_PARA policy = {};
    policy.cbSize = sizeof policy;
    policy.pvExtraPolicyPara = &ssl;
    CERT_CHAIN_POLICY_STATUS status = {};
    status.cbSize = sizeof status;
    SetLastError(0);
    if (!CertVerifyCertificateChainPolicy(CERT_CHAIN_POLICY_SSL, chain.get(), &policy, &status))
        throwLastSecurityError();
    if (status.dwError != 0)
        throwSecurityError(status.dwError);
    // Some policy providers pass a chain that ends in an unknown or missing
    // root; the chain's own verdict decides then, so an unknown authority
    // fails everywhere.
    const DWORD trust = chain->TrustStatus.dwErrorStatus;
    if (trust & CERT_TRUST_IS_PARTIAL_CHAIN)
        throwSecurityError(uint32_t(CERT_E_CHAINING));
    if (trust & CERT_TRUST_IS_UNTRUSTED_ROOT)
        throwSecurityError(uint32_t(CERT_E_UNTRUSTEDROOT));

    // A revoked certificate fails; a revocation server that cannot be
    // reached does not.
    if (chain->cChain > 0) {
        std::vector<void*> leaves;
        for (DWORD i = 0; i < chain->cChain; ++i)
            if (chain->rgpChain[i]->cElement > 0)
                leaves.push_back(const_cast<CERT_CONTEXT*>(chain->rgpChain[i]->rgpElement[0]->pCertContext));
        CERT_REVOCATION_STATUS revocation = {};
        revocation.cbSize = sizeof revocation;
        if (!leaves.empty() &&
            !CertVerifyRevocation(X509_ASN_ENCODING, CERT_CONTEXT_REVOCATION_TYPE, DWORD(leaves.size()), leaves.data(),
                                  CERT_VERIFY_REV_CHAIN_FLAG, NULL, &revocation) &&
            revocation.dwError != DWORD(CRYPT_E_NO_REVOCATION_CHECK) &&
            revocation.dwError != DWORD(CRYPT_E_REVOCATION_OFFLINE))
            throwSecurityError(revocation.dwError);
    }
}

SecPkgContext_StreamSizes streamSizes(securityHandle& context) {
    SecPkgContext_StreamSizes sizes = {};
    const SECURITY_STATUS status = sspi()->QueryContextAttributesW(native(context), SECPKG_ATTR_STREAM_SIZES, &sizes);
    if (status != SEC_E_OK)
        throwSecurityError(uint32_t(status));
    return sizes;
}

} // namespace

tlsSocket::tlsSocket(std::shared_ptr<netSocket> transport, uint32_t flags)
    : transport(std::move(transport)), flags(flags) {}

tlsSocket::~tlsSocket() { resetChannel(); }

void tlsSocket::resetChannel() {
    credentials.reset();
    if (!context.empty()) {
        sspi()->DeleteSecurityContext(native(context));
        context = securityHandle();
    }
    received.clear();
    receivedOffset = 0;
    encryptedSize = 0;
    established = false;
    peerClosed = false;
}

uint64_t tlsSocket::read(void* buffer, uint64_t size) { return readBySome(buffer, size); }

uint64_t tlsSocket::readSome(void* buffer, uint64_t size) {
    // Nothing above reads before connect has finished the handshake.
    if (!established)
        throw bug_check();
    if (received.empty()) {
        fill();
        if (received.empty())
            return 0;
    }
    const std::vector<uint8_t>& block = received.front();
    const uint64_t count = std::min<uint64_t>(size, block.size() - receivedOffset);
    std::memcpy(buffer, block.data() + receivedOffset, size_t(count));
    receivedOffset += size_t(count);
    if (receivedOffset == block.size()) {
        received.pop_front();
        receivedOffset = 0;
    }
    return count;
}

void tlsSocket::fill() {
    const SecPkgContext_StreamSizes sizes = streamSizes(context);
    encrypted.resize(sizes.cbHeader + sizes.cbMaximumMessage + sizes.cbTrailer);
    bool eof = false;
    bool needMore = false;
    while (received.empty() && !peerClosed) {
        if (!eof && (encryptedSize == 0 || needMore)) {
            if (encryptedSize == encrypted.size()) // a record larger than the provider allows
                throwSecurityError(uint32_t(SEC_E_ILLEGAL_MESSAGE));
            const uint64_t got = transport->readSome(encrypted.data() + encryptedSize, encrypted.size() - encryptedSize);
            if (got > 0) {
                encryptedSize += uint32_t(got);
                needMore = false;
            } else if (needMore) {
                throwSecurityError(uint32_t(SEC_E_INCOMPLETE_MESSAGE));
            } else {
                eof = true;
            }
        }
        if (encryptedSize == 0) {
            if (eof)
                return;
            continue;
        }
        SecBuffer buffers[4] = {};
        buffers[0].BufferType = SECBUFFER_DATA;
        buffers[0].pvBuffer = encrypted.data();
        buffers[0].cbBuffer = encryptedSize;
        for (int i = 1; i < 4; ++i)
            buffers[i].BufferType = SECBUFFER_EMPTY;
        SecBufferDesc descriptor = {SECBUFFER_VERSION, 4, buffers};
        const SECURITY_STATUS status = sspi()->DecryptMessage(native(context), &descriptor, 0, NULL);
        if (status == SEC_E_INCOMPLETE_MESSAGE) {
            if (eof)
                throwSecurityError(uint32_t(status));
            needMore = true;
            continue;
        }
        if (status == SEC_I_CONTEXT_EXPIRED) {
            peerClosed = true;
            return;
        }
        const SecBuffer* extra = nullptr;
        const SecBuffer* data = nullptr;
        for (int i = 1; i < 4; ++i) {
            if (buffers[i].BufferType == SECBUFFER_EXTRA && !extra)
                extra = &buffers[i];
            if (buffers[i].BufferType == SECBUFFER_DATA && !data)
                data = &buffers[i];
        }
        if (status == SEC_I_RENEGOTIATE) {
            // The handshake messages are what follows the record.
            std::vector<uint8_t> pending;
            if (extra)
                pending.assign(static_cast<const uint8_t*>(extra->pvBuffer),
                               static_cast<const uint8_t*>(extra->pvBuffer) + extra->cbBuffer);
            encryptedSize = 0;
            handshakeLoop(pending.data(), pending.size());
            continue;
        }
        if (status != SEC_E_OK)
            throwSecurityError(uint32_t(status));
        const bool empty = !data || data->cbBuffer == 0;
        if (!empty)
            received.emplace_back(static_cast<const uint8_t*>(data->pvBuffer),
                                  static_cast<const uint8_t*>(data->pvBuffer) + data->cbBuffer);
        uint32_t kept = 0;
        if (extra) {
            // Decryption works in place, so the rest lies inside `encrypted`.
            kept = std::min<uint32_t>(extra->cbBuffer, uint32_t(encrypted.size()));
            std::memmove(encrypted.data(), static_cast<const uint8_t*>(extra->pvBuffer), kept);
        }
        encryptedSize = kept;
        // Some providers report the peer's close_notify as a success that
        // carries nothing, where others say SEC_I_CONTEXT_EXPIRED.
        if (empty && !extra)
            peerClosed = true;
    }
}

void tlsSocket::write(const void* buffer, uint64_t size) {
    if (!established) {
        transport->write(buffer, size);
        return;
    }
    const SecPkgContext_StreamSizes sizes = streamSizes(context);
    std::vector<uint8_t> scratch(sizes.cbHeader + sizes.cbMaximumMessage + sizes.cbTrailer);
    const uint8_t* bytes = static_cast<const uint8_t*>(buffer);
    uint64_t done = 0;
    while (done < size) {
        std::fill(scratch.begin(), scratch.end(), uint8_t(0));
        const uint32_t piece = uint32_t(std::min<uint64_t>(size - done, sizes.cbMaximumMessage));
        std::memcpy(scratch.data() + sizes.cbHeader, bytes + done, piece);
        SecBuffer buffers[4] = {};
        buffers[0] = {sizes.cbHeader, SECBUFFER_STREAM_HEADER, scratch.data()};
        buffers[1] = {piece, SECBUFFER_DATA, scratch.data() + sizes.cbHeader};
        buffers[2] = {sizes.cbTrailer, SECBUFFER_STREAM_TRAILER, scratch.data() + sizes.cbHeader + piece};
        buffers[3] = {0, SECBUFFER_EMPTY, nullptr};
        SecBufferDesc descriptor = {SECBUFFER_VERSION, 4, buffers};
        const SECURITY_STATUS status = sspi()->EncryptMessage(native(context), 0, &descriptor, 0);
        if (status < 0)
            throwSecurityError(uint32_t(status));
        transport->write(scratch.data(), uint64_t(buffers[0].cbBuffer) + buffers[1].cbBuffer + buffers[2].cbBuffer);
        done += piece;
    }
}

void tlsSocket::connect(const std::string& host, const std::string& port, uint32_t connectFlags) {
    transport->close();
    transport->connect(host, port, connectFlags & ~connectTls);
    this->host = utf8ToWide(host);
    handshake(false, nullptr);
}

void tlsSocket::handshakeOver(const std::string& host, bool asServer, netSocket* earlier) {
    this->host = utf8ToWide(host);
    std::shared_ptr<securityHandle> shared;
    if (earlier && earlier->isKind(tlsSocketKind))
        shared = static_cast<tlsSocket*>(earlier)->credentials;
    handshake(asServer, shared);
}

void tlsSocket::handshake(bool asServer, std::shared_ptr<securityHandle> given) {
    resetChannel();
    isServer = asServer;
    credentials = std::move(given);
    if (isServer) {
        // The server role needs a certificate of its own, and nothing in
        // this program gives a channel one.
        if (!certificate)
            throwSecurityError(uint32_t(SEC_E_NO_CREDENTIALS));
        throw not_implemented();
    }
    clientHandshake();
    established = true;
}

void tlsSocket::sendToken(void* token, unsigned long size) {
    if (!token)
        return;
    struct freeLater {
        void* buffer;
        ~freeLater() { sspi()->FreeContextBuffer(buffer); }
    } owner = {token};
    if (size > 0)
        transport->write(token, size);
}

void tlsSocket::clientHandshake() {
    if (!credentials)
        credentials = acquireClientCredentials(protocols, certificate);
    SecBuffer out = {0, SECBUFFER_TOKEN, nullptr};
    SecBufferDesc outDescriptor = {SECBUFFER_VERSION, 1, &out};
    ULONG attributes = 0;
    const SECURITY_STATUS status =
        sspi()->InitializeSecurityContextW(native(*credentials), NULL, &host[0], clientRequest, 0, SECURITY_NATIVE_DREP, NULL,
                                   0, native(context), &outDescriptor, &attributes, NULL);
    if (status != SEC_E_OK && status != SEC_I_CONTINUE_NEEDED) {
        context = securityHandle();
        throwSecurityError(uint32_t(status));
    }
    sendToken(out.pvBuffer, out.cbBuffer);
    handshakeLoop(nullptr, 0);
    if (flags & tlsNoCertificateCheck)
        return;
    PCCERT_CONTEXT peer = nullptr;
    const SECURITY_STATUS query =
        sspi()->QueryContextAttributesW(native(context), SECPKG_ATTR_REMOTE_CERT_CONTEXT, &peer);
    if (query != SEC_E_OK)
        throwSecurityError(uint32_t(query));
    struct freeLater {
        PCCERT_CONTEXT certificate;
        ~freeLater() { CertFreeCertificateContext(certificate); }
    } owner = {peer};
    checkServerCertificate(peer, host);
}

void tlsSocket::handshakeLoop(const uint8_t* pending, size_t pendingSize) {
    std::vector<uint8_t> buffer(0x10000);
    size_t used = std::min(pendingSize, buffer.size());
    if (used)
        std::memcpy(buffer.data(), pending, used);
    SECURITY_STATUS status = SEC_I_CONTINUE_NEEDED;
    for (;;) {
        if (used == 0 || status == SEC_E_INCOMPLETE_MESSAGE) {
            if (used == buffer.size()) // a handshake message the buffer cannot hold
                throw exception_network_authentication();
            const uint64_t got = transport->readSome(buffer.data() + used, buffer.size() - used);
            if (got == 0)
                throw exception_network_authentication();
            used += size_t(got);
        }
        SecBuffer in[2] = {};
        in[0] = {ULONG(used), SECBUFFER_TOKEN, buffer.data()};
        in[1] = {0, SECBUFFER_EMPTY, nullptr};
        SecBufferDesc inDescriptor = {SECBUFFER_VERSION, 2, in};
        SecBuffer out = {0, SECBUFFER_TOKEN, nullptr};
        SecBufferDesc outDescriptor = {SECBUFFER_VERSION, 1, &out};
        ULONG attributes = 0;
        status = sspi()->InitializeSecurityContextW(native(*credentials), native(context), NULL, clientRequest, 0,
                                            SECURITY_NATIVE_DREP, &inDescriptor, 0, NULL, &outDescriptor,
                                            &attributes, NULL);
        if (status == SEC_E_OK || status == SEC_I_CONTINUE_NEEDED ||
            (FAILED(status) && (attributes & ISC_RET_EXTENDED_ERROR)))
            sendToken(out.pvBuffer, out.cbBuffer);
        else if (out.pvBuffer)
            sspi()->FreeContextBuffer(out.pvBuffer);
        if ((status == SEC_I_INCOMPLETE_CREDENTIALS && (flags & tlsNoCertificateCheck)) ||
            status == SEC_E_INCOMPLETE_MESSAGE)
            continue;
        if (status == SEC_E_OK) {
            // The server's first record came with the end of its handshake.
            if (in[1].BufferType == SECBUFFER_EXTRA && in[1].cbBuffer > 0) {
                encrypted.assign(buffer.begin() + (used - in[1].cbBuffer), buffer.begin() + used);
                encryptedSize = in[1].cbBuffer;
            }
            return;
        }
        if (status != SEC_I_CONTINUE_NEEDED) {
            sspi()->DeleteSecurityContext(native(context));
            context = securityHandle();
            throwSecurityError(uint32_t(status));
        }
        if (in[1].BufferType == SECBUFFER_EXTRA && in[1].cbBuffer > 0) {
            std::memmove(buffer.data(), buffer.data() + (used - in[1].cbBuffer), in[1].cbBuffer);
            used = in[1].cbBuffer;
        } else {
            used = 0;
        }
    }
}

uint64_t tlsSocket::writeUntilReadable(const void* buffer, uint64_t size) {
    write(buffer, size);
    return size;
}

void tlsSocket::close() {
    transport->close();
    host.clear();
    resetChannel();
}

void tlsSocket::shutdown(int) {}

void tlsSocket::addStateCallback(socketStateCallback) { throw not_implemented(); }

bool tlsSocket::isKind(const kindGuid& kind) const { return kind == tlsSocketKind; }

void tlsSocket::checkError() { transport->checkError(); }

} // namespace Qz
