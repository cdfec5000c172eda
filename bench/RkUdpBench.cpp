#include <benchmark/benchmark.h>

#include <string>

#include "Network/Network/RkUdpConnection.h"
#include "Network/Network/RkUdpServer.h"

namespace {

const RkTimePeriod LONG(0, 0, 0, 1);
const RkInetAddress ANY_PORT("127.0.0.1", 0);

class Echo : public RkUdpConnection {
public:
    void Run() override { Send(m_buffer, m_bufferLength); }
    void Stop() override {}
};

class EchoServer : public RkUdpServer {
public:
    EchoServer() : RkUdpServer(ANY_PORT, 2000) { Start(); }
    ~EchoServer() override {
        Stop();
        WaitForThread(this);
    }
    RkUdpConnection* CreateConnection() override { return new Echo; }
};

/// Datagrams of 64 bytes a second, there and back, with so many on their way at once.
void EchoDatagrams(benchmark::State& state) {
    EchoServer server;
    RkUdpSocket client(ANY_PORT, server.GetLocalAddress());
    char data[64] = {};
    std::int64_t lost = 0;
    for (auto _ : state) {
        for (std::int64_t i = 0; i < state.range(0); ++i)
            client.Write(data, sizeof data);
        for (std::int64_t i = 0; i < state.range(0); ++i)
            lost += client.Read(data, sizeof data, LONG) < 1;
    }
    client.Close();
    state.SetItemsProcessed(state.iterations() * state.range(0) - lost);
    state.counters["lost"] = static_cast<double>(lost);
}
BENCHMARK(EchoDatagrams)->Name("UdpEcho/ours")->Arg(1)->Arg(64)->UseRealTime();

/// A datagram from a socket to itself: what the two system calls take.
void SendAndReceive(benchmark::State& state) {
    RkUdpSocket socket(ANY_PORT, RkInetAddress());
    const RkInetAddress self = socket.GetLocalAddress();
    char data[64] = {};
    for (auto _ : state) {
        socket.WriteTo(self, data, sizeof data);
        socket.Read(data, sizeof data);
    }
    socket.Close();
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(SendAndReceive)->Name("UdpSocket/ours");

}  // namespace
