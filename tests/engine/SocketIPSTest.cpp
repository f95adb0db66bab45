#include "SocketIPS.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

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
        close(other);
        other = -1;
    }
    std::unique_ptr<SocketIPS> socket;
    int other = -1;
};

}  // namespace

TEST(SocketIPSTest, LinesLoseTheirEndsOverLongOnesAreCutAndAHalfLineIsNoLine) {
    Pair pair;
    std::string start =
        "crlf\r\nlf\nbare\rXnext\r\n\r\n" + std::string(100 * 1024, 'x') + "\r\nwhole\r\n";
    // Queued before the first read, so that the 64 KiB reads end where "zz"'s CR does and the
    // refill for its LF overwrites the whole read-ahead.
    start += std::string(2 * 65536 - start.size() - 4, 'w') + "\nzz\r";
    int room = 1 << 20;
    setsockopt(pair.other, SOL_SOCKET, SO_SNDBUF, &room, sizeof room);
    pair.Write(start + "\n" + std::string(70000, 'v') + "\r\nhalf a li");
    pair.CloseOther();
    for (const char* line : {"crlf", "lf", "bare", "next", ""}) {
        EXPECT_EQ(pair.socket->RecvString(), line);  // a bare CR swallows the byte after it
    }
    EXPECT_EQ(pair.socket->RecvString()->size(), SocketIPS::kLineCapacity - 1);
    EXPECT_EQ(pair.socket->RecvString(), "whole");
    EXPECT_EQ(pair.socket->RecvString()->size(), SocketIPS::kLineCapacity - 1);  // the w's
    EXPECT_EQ(pair.socket->RecvLine(), "zz");
    EXPECT_EQ(pair.socket->RecvString()->size(), SocketIPS::kLineCapacity - 1);  // the v's
    EXPECT_EQ(pair.socket->RecvString(), std::nullopt);
    EXPECT_EQ(pair.socket->LastRecvState(), SocketIPS::RecvState::EndOfData);
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

// A closed peer fails a send with an alert and ends a receive quietly; a time-out alerts.
TEST(SocketIPSTest, SendToAClosedPeerAlertsAndGives3AndOnlyATimedOutReceiveAlerts) {
    AlertRecorder alerts;
    Pair sending;
    sending.CloseOther();
    sending.socket->Add("QUIT\r\n", 6);
    EXPECT_EQ(sending.socket->Flush(), 3);
    EXPECT_EQ(sending.socket->SendData("x", 1), 3);
    ASSERT_EQ(alerts.Texts().size(), 2u);
    EXPECT_EQ(alerts.Texts()[0], "Send error.\nConnection closed by remote host.");
    Pair receiving;
    receiving.CloseOther();
    EXPECT_EQ(receiving.socket->RecvBuf(), std::nullopt);
    EXPECT_EQ(alerts.Texts().size(), 2u);
    Pair silent;
    silent.socket->SetTimeout(200);
    EXPECT_EQ(silent.socket->RecvBuf(), std::nullopt);
    EXPECT_EQ(silent.socket->LastRecvState(), SocketIPS::RecvState::TimedOut);
    EXPECT_EQ(alerts.Texts().back(), "Reveive errror.");
    EXPECT_EQ(alerts.Texts().size(), 3u);
}

TEST(SocketIPSTest, InterrupterWakesABlockedReceive) {
    Pair pair;
    auto interrupter = std::make_shared<Interrupter>();
    pair.socket->SetInterrupter(interrupter);
    pair.socket->SetTimeout(30000);
    std::thread stopper([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        interrupter->Trigger();
    });
    EXPECT_EQ(pair.socket->RecvString(), std::nullopt);
    stopper.join();
    EXPECT_EQ(pair.socket->LastRecvState(), SocketIPS::RecvState::Interrupted);
}
