#include "SocketIPS.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "Interrupter.h"
#include "Recorders.h"

namespace {

// A SocketIPS on one end of a connected pair; the test writes and reads the other end.
struct Pair {
    Pair() {
        int fds[2];
        socketpair(AF_UNIX, SOCK_STREAM, 0, fds);
        socket = std::make_unique<SocketIPS>(fds[0]);
        socket->SetTimeout(2000);
        other = fds[1];
    }
    ~Pair() { CloseOther(); }
    void Write(const std::string& bytes) const {
        ASSERT_EQ(write(other, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    void CloseOther() {
        if (other >= 0) {
            close(other);
            other = -1;
        }
    }
    std::unique_ptr<SocketIPS> socket;
    int other = -1;
};

int UnusedPort() {
    int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    bind(fd, reinterpret_cast<sockaddr*>(&address), length);
    getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    close(fd);
    return ntohs(address.sin_port);
}

}  // namespace

TEST(SocketIPSTest, OctetsOfAHostOrderAddress) {
    long address = (192L << 24) | (168L << 16) | (1L << 8) | 2L;
    EXPECT_EQ(SocketIPS::GetOctetIP(address, 3), 192);
    EXPECT_EQ(SocketIPS::GetOctetIP(address, 2), 168);
    EXPECT_EQ(SocketIPS::GetOctetIP(address, 1), 1);
    EXPECT_EQ(SocketIPS::GetOctetIP(address, 0), 2);
}

TEST(SocketIPSTest, LinesLoseTheirEndsAndBareCrSwallowsTheNextByte) {
    Pair pair;
    pair.Write("crlf\r\nlf\nbare\rXnext\r\n\r\n");
    EXPECT_EQ(pair.socket->RecvString(), "crlf");
    EXPECT_EQ(pair.socket->RecvString(), "lf");
    EXPECT_EQ(pair.socket->RecvString(), "bare");
    EXPECT_EQ(pair.socket->RecvString(), "next");
    EXPECT_EQ(pair.socket->RecvString(), "");
}

TEST(SocketIPSTest, ConnectionClosedInTheMiddleOfALineGivesNoLine) {
    Pair pair;
    pair.Write("whole\r\nhalf a li");
    pair.CloseOther();
    EXPECT_EQ(pair.socket->RecvString(), "whole");
    EXPECT_EQ(pair.socket->RecvString(), std::nullopt);
    EXPECT_EQ(pair.socket->LastRecvState(), SocketIPS::RecvState::EndOfData);
}

TEST(SocketIPSTest, OverLongLineIsCutAndTheNextLineSurvives) {
    Pair pair;
    std::thread writer([&] { pair.Write(std::string(100 * 1024, 'x') + "\r\nnext\r\n"); });
    auto line = pair.socket->RecvString();
    writer.join();
    ASSERT_TRUE(line.has_value());
    EXPECT_EQ(line->size(), SocketIPS::kLineCapacity - 1);
    EXPECT_EQ(pair.socket->RecvString(), "next");
}

TEST(SocketIPSTest, AddIgnoresNothingAndFlushOfNothingSendsNothing) {
    AlertRecorder alerts;
    SocketIPS unconnected;  // a send here would fail and alert
    unconnected.Add(nullptr, 5);
    unconnected.Add("abc", 0);
    EXPECT_EQ(unconnected.Flush(), 0);
    EXPECT_TRUE(alerts.Texts().empty());
}

TEST(SocketIPSTest, CommandLongerThanTheSendBufferIsRefusedWhole) {
    Pair pair;
    std::string huge(SocketIPS::kSendCapacity, 'a');
    pair.socket->Add(huge.data(), static_cast<int>(huge.size()));
    pair.socket->Add("\r\n", 2);
    EXPECT_EQ(pair.socket->Flush(), 3);
    pair.socket->Add("NOOP\r\n", 6);
    EXPECT_EQ(pair.socket->Flush(), 0);
    char buffer[16] = {};
    EXPECT_EQ(read(pair.other, buffer, sizeof buffer), 6);
    EXPECT_STREQ(buffer, "NOOP\r\n");
}

TEST(SocketIPSTest, SendToAClosedPeerAlertsAndGives3) {
    AlertRecorder alerts;
    Pair pair;
    pair.CloseOther();
    pair.socket->Add("QUIT\r\n", 6);
    EXPECT_EQ(pair.socket->Flush(), 3);
    EXPECT_EQ(pair.socket->SendData("x", 1), 3);
    ASSERT_EQ(alerts.Texts().size(), 2u);
    EXPECT_EQ(alerts.Texts()[0], "Send error.\nConnection closed by remote host.");
}

TEST(SocketIPSTest, RecvBufOnClosedPeerIsNullWithoutAlertAndOnTimeOutAlerts) {
    AlertRecorder alerts;
    {
        Pair pair;
        pair.CloseOther();
        EXPECT_EQ(pair.socket->RecvBuf(), std::nullopt);
        EXPECT_TRUE(alerts.Texts().empty());
    }
    Pair silent;
    silent.socket->SetTimeout(200);
    EXPECT_EQ(silent.socket->RecvBuf(), std::nullopt);
    EXPECT_EQ(silent.socket->LastRecvState(), SocketIPS::RecvState::TimedOut);
    ASSERT_EQ(alerts.Texts().size(), 1u);
    EXPECT_EQ(alerts.Texts()[0], "Reveive errror.");
}

TEST(SocketIPSTest, UnknownHostGives1AndRefusedPortGives2) {
    SocketIPS unknown;
    EXPECT_EQ(unknown.Connect("no-such-host.invalid", 21), 1);
    EXPECT_TRUE(unknown.IsClosed());
    SocketIPS refused;
    EXPECT_EQ(refused.Connect("127.0.0.1", UnusedPort()), 2);
    EXPECT_TRUE(refused.IsClosed());
    EXPECT_EQ(refused.Descriptor(), -1);
}

TEST(SocketIPSTest, ConnectsToAnIPv6OnlyAddress) {
    int listener = ::socket(AF_INET6, SOCK_STREAM, 0);
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    address.sin6_addr = in6addr_loopback;
    socklen_t length = sizeof address;
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), length), 0);
    ASSERT_EQ(listen(listener, 1), 0);
    getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
    SocketIPS socket;
    EXPECT_EQ(socket.Connect("::1", ntohs(address.sin6_port)), 0);
    EXPECT_FALSE(socket.IsClosed());
    EXPECT_EQ(socket.GetLocalIP(), 0u);  // no IPv4 address to put in a PORT command
    close(listener);
}

TEST(SocketIPSTest, ListenAcceptAndLocalAddress) {
    SocketIPS listener;
    sockaddr_storage local{};
    auto& v4 = reinterpret_cast<sockaddr_in&>(local);
    v4.sin_family = AF_INET;
    v4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int port = UnusedPort();
    ASSERT_EQ(listener.Listen(port, local), 1);
    EXPECT_EQ(SocketIPS().Listen(port, local), 0);  // taken
    std::thread client([port] {
        SocketIPS socket;
        ASSERT_EQ(socket.Connect("127.0.0.1", port), 0);
        EXPECT_EQ(socket.GetLocalIP(), 0x7F000001u);
        socket.Add("hello\r\n", 7);
        EXPECT_EQ(socket.Flush(), 0);
    });
    auto accepted = listener.Accept();
    ASSERT_NE(accepted, nullptr);
    EXPECT_EQ(accepted->RecvString(), "hello");
    client.join();
}

TEST(SocketIPSTest, InterrupterWakesABlockedReceiveAtOnce) {
    Pair pair;
    auto interrupter = std::make_shared<Interrupter>();
    pair.socket->SetInterrupter(interrupter);
    pair.socket->SetTimeout(30000);
    auto start = std::chrono::steady_clock::now();
    std::thread stopper([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        interrupter->Trigger();
    });
    EXPECT_EQ(pair.socket->RecvString(), std::nullopt);
    stopper.join();
    EXPECT_EQ(pair.socket->LastRecvState(), SocketIPS::RecvState::Interrupted);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
}
