// Octets of the protocol for tests, written without the code under test.

#include "raw_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "rpc_binding.h"

Octets Raw_Hex(const char *digits)
{
    Octets out;
    auto value = [](char c) { return static_cast<u8>(c == 'x' ? 10 : isdigit(c) ? c - '0' : tolower(c) - 'a' + 10); };
    for (; *digits; ++digits) {
        if (isspace(static_cast<unsigned char>(*digits))) continue;
        const u8 high = value(*digits++);
        out.push_back(static_cast<u8>(high << 4 | value(*digits)));
    }
    return out;
}

std::string Raw_Text(const Octets &octets)
{
    std::string out;
    char digits[4];
    for (u8 octet : octets) {
        snprintf(digits, sizeof digits, "%02x", octet);
        out += digits;
    }
    return out;
}

static bool readAll(int descriptor, u8 *data, size_t size)
{
    while (size != 0) {
        const ssize_t count = recv(descriptor, data, size, 0);
        if (count <= 0) return false;
        data += count;
        size -= static_cast<size_t>(count);
    }
    return true;
}

Octets Raw_ReadPdu(int descriptor)
{
    Octets pdu(16);
    if (!readAll(descriptor, pdu.data(), 16)) return {};
    const size_t length = static_cast<size_t>(pdu[8] | pdu[9] << 8);
    pdu.resize(length < 16 ? 16 : length);
    if (!readAll(descriptor, pdu.data() + 16, pdu.size() - 16)) return {};
    return pdu;
}

bool Raw_Send(int descriptor, const Octets &octets)
{
    for (size_t done = 0; done < octets.size();) {
        const ssize_t count = send(descriptor, octets.data() + done, octets.size() - done, MSG_NOSIGNAL);
        if (count <= 0) return false;
        done += static_cast<size_t>(count);
    }
    return true;
}

static void put16(Octets *out, u32 value, Raw_Order order)
{
    const u8 low = static_cast<u8>(value), high = static_cast<u8>(value >> 8);
    out->push_back(order.BigEndian ? high : low);
    out->push_back(order.BigEndian ? low : high);
}

void Raw_Put32(Octets *out, u32 value, Raw_Order order)
{
    put16(out, order.BigEndian ? value >> 16 : value & 0xFFFF, order);
    put16(out, order.BigEndian ? value & 0xFFFF : value >> 16, order);
}

Octets Raw_Pdu(u8 type, u8 flags, u32 callId, const Octets &body, Raw_Order order)
{
    Octets out = {5, 0, type, flags, static_cast<u8>(order.BigEndian ? 0x00 : 0x10), 0, 0, 0};
    put16(&out, static_cast<u32>(16 + body.size()), order);
    put16(&out, 0, order);
    Raw_Put32(&out, callId, order);
    out.insert(out.end(), body.begin(), body.end());
    return out;
}

static Octets ackBody(u16 fragment, u32 group, u16 result, u16 reason, Raw_Order order, bool secondary)
{
    Octets body;
    put16(&body, fragment, order);
    put16(&body, fragment, order);
    Raw_Put32(&body, group, order);
    if (secondary) {
        put16(&body, 5, order);
        for (const char *at = "5161"; *at; ++at) body.push_back(static_cast<u8>(*at));
        body.push_back(0);
        body.push_back(0); // up to a multiple of 4
    } else {
        put16(&body, 0, order);
        put16(&body, 0, order);
    }
    while (body.size() % 4 != 0) body.push_back(0);
    body.insert(body.end(), {1, 0, 0, 0});
    put16(&body, result, order);
    put16(&body, reason, order);
    if (result != 0) {
        body.insert(body.end(), 20, 0);
        return body;
    }
    Raw_Put32(&body, 0x8a885d04, order);
    put16(&body, 0x1ceb, order);
    put16(&body, 0x11c9, order);
    const Octets tail = Raw_Hex("9fe808002b104860");
    body.insert(body.end(), tail.begin(), tail.end());
    Raw_Put32(&body, 2, order);
    return body;
}

Octets Raw_BindAck(u32 callId, u16 fragment, u32 group, Raw_Order order, u8 type)
{
    return Raw_Pdu(type, 3, callId, ackBody(fragment, group, 0, 0, order, type == 12), order);
}

Octets Raw_BindRefused(u32 callId, u16 result, u16 reason, u8 type)
{
    return Raw_Pdu(type, 3, callId, ackBody(5840, 0x12345, result, reason, {}, type == 12));
}

Octets Raw_BindNak(u32 callId, u16 reason)
{
    return Raw_Pdu(13, 3, callId, {static_cast<u8>(reason), 0, 1, 5, 0, 0, 0, 0});
}

Octets Raw_Response(u32 callId, const Octets &stub, u16 context, u8 flags, Raw_Order order)
{
    Octets body;
    Raw_Put32(&body, static_cast<u32>(stub.size()), order);
    put16(&body, context, order);
    put16(&body, 0, order);
    body.insert(body.end(), stub.begin(), stub.end());
    return Raw_Pdu(2, flags, callId, body, order);
}

Octets Raw_Fault(u32 callId, u32 status, u16 context, Raw_Order order)
{
    Octets body;
    Raw_Put32(&body, 0, order);
    put16(&body, context, order);
    put16(&body, 0, order);
    Raw_Put32(&body, status, order);
    Raw_Put32(&body, 0, order);
    return Raw_Pdu(3, 3, callId, body, order);
}

u32 Raw_CallId(const Octets &pdu)
{
    u32 value = 0;
    if (pdu.size() >= 16) memcpy(&value, pdu.data() + 12, sizeof value);
    return value;
}

u16 Raw_Operation(const Octets &request)
{
    return static_cast<u16>(request[22] | request[23] << 8);
}

Octets Raw_Stub(const Octets &request)
{
    const long offset = request[3] & 0x80 ? 40 : 24;
    return Octets(request.begin() + offset, request.end());
}

Raw_Server::Raw_Server(Serve serve) : serve_(std::move(serve))
{
    listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    struct sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (bind(listener_, reinterpret_cast<struct sockaddr *>(&address), size) != 0 || listen(listener_, 64) != 0 ||
        getsockname(listener_, reinterpret_cast<struct sockaddr *>(&address), &size) != 0)
        abort();
    port_ = ntohs(address.sin_port);
    acceptor_ = std::thread([this] { run(); });
}

void Raw_Server::run()
{
    for (;;) {
        struct pollfd entry = {listener_, POLLIN, 0};
        const int ready = poll(&entry, 1, 20);
        if (stop_) return;
        if (ready <= 0) continue;
        const int descriptor = accept(listener_, nullptr, nullptr);
        if (descriptor < 0) continue;
        static constexpr int on = 1;
        setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        ++connections_;
        descriptors_.push_back(descriptor);
        threads_.emplace_back([this, descriptor] {
            serve_(descriptor);
            shutdown(descriptor, SHUT_RDWR);
        });
    }
}

Raw_Server::~Raw_Server()
{
    stop_ = true;
    acceptor_.join();
    for (int descriptor : descriptors_) shutdown(descriptor, SHUT_RDWR);
    for (std::thread &thread : threads_) thread.join();
    for (int descriptor : descriptors_) close(descriptor);
    close(listener_);
}

std::string Raw_Server::Binding() const
{
    return "ncacn_ip_tcp:127.0.0.1[" + std::to_string(port_) + "]";
}

Raw_Server::Serve Raw_Answering(std::function<Octets(u32, u16, const Octets &)> answer)
{
    return [answer](int descriptor) {
        Octets stub;
        for (;;) {
            const Octets pdu = Raw_ReadPdu(descriptor);
            if (pdu.empty()) return;
            if (pdu[2] == 11) Raw_Send(descriptor, Raw_BindAck(Raw_CallId(pdu)));
            if (pdu[2] == 14) Raw_Send(descriptor, Raw_BindAck(Raw_CallId(pdu), 5840, 0x12345, {}, 15));
            if (pdu[2] != 0) continue;
            const Octets part = Raw_Stub(pdu);
            stub.insert(stub.end(), part.begin(), part.end());
            if ((pdu[3] & 2) == 0) continue;
            Raw_Send(descriptor, answer(Raw_CallId(pdu), Raw_Operation(pdu), stub));
            stub.clear();
        }
    };
}

rpc_binding_handle_t Raw_Bind(const std::string &text)
{
    rpc_binding_handle_t binding;
    u32 status;
    rpc_binding_from_string_binding(reinterpret_cast<const unsigned char *>(text.c_str()), &binding, &status);
    if (status != rpc_s_ok) abort();
    return binding;
}

void Raw_Free(rpc_binding_handle_t binding)
{
    u32 status;
    rpc_binding_free(&binding, &status);
}
