#ifndef RAW_SERVER_H
#define RAW_SERVER_H

// A server that says exactly what a test tells it to, octet by octet, and helpers to write such octets down.

#include <atomic>
#include <functional>
#include <initializer_list>
#include <string>
#include <thread>
#include <vector>

#include "rpc_types.h"

using Octets = std::vector<u8>;

// Octets from hexadecimal digits; blanks and line ends are passed over, "xx" gives AA.
Octets Raw_Hex(const char *digits);
std::string Raw_Text(const Octets &octets);

// One whole PDU from a descriptor; empty at its end. Length of its stub data's offset: 24, or 40 with an object.
Octets Raw_ReadPdu(int descriptor);
bool Raw_Send(int descriptor, const Octets &octets);

// PDUs of a server, little-endian unless told otherwise.
struct Raw_Order {
    bool BigEndian = false;
};
Octets Raw_Pdu(u8 type, u8 flags, u32 callId, const Octets &body, Raw_Order order = {});
Octets Raw_BindAck(u32 callId, u16 fragment = 5840, u32 group = 0x12345, Raw_Order order = {}, u8 type = 12);
Octets Raw_BindRefused(u32 callId, u16 result, u16 reason, u8 type = 12);
Octets Raw_BindNak(u32 callId, u16 reason);
Octets Raw_Response(u32 callId, const Octets &stub, u16 context = 0, u8 flags = 3, Raw_Order order = {});
Octets Raw_Fault(u32 callId, u32 status, u16 context = 0, Raw_Order order = {});
u32 Raw_CallId(const Octets &pdu);
u16 Raw_Operation(const Octets &request);
Octets Raw_Stub(const Octets &request);
void Raw_Put32(Octets *out, u32 value, Raw_Order order = {});

// Listens on a loopback port; each connection runs Serve in a thread of its own and is closed behind it.
class Raw_Server
{
public:
    using Serve = std::function<void(int descriptor)>;
    explicit Raw_Server(Serve serve);
    ~Raw_Server();
    u16 Port() const { return port_; }
    std::string Binding() const; // "ncacn_ip_tcp:127.0.0.1[PORT]"
    int Connections() const { return connections_; }

private:
    void run();
    Serve serve_;
    int listener_;
    u16 port_;
    std::atomic<int> connections_{0};
    std::atomic<bool> stop_{false};
    std::vector<int> descriptors_;
    std::vector<std::thread> threads_;
    std::thread acceptor_;
};

// Answers binds, and each whole request by what Answer gives for its stub data: PDUs to send as they are.
Raw_Server::Serve Raw_Answering(std::function<Octets(u32 callId, u16 operation, const Octets &stub)> answer);

// A handle to a string binding; ends the test process when it is malformed.
rpc_binding_handle_t Raw_Bind(const std::string &text);
void Raw_Free(rpc_binding_handle_t binding);

#endif
