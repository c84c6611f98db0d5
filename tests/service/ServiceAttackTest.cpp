// A hostile client on loopback: header floods, idle, slow and half-open
// connections by the thousand, request smuggling after a refused body, odd
// lengths and content types, weak TLS suites, and a stop with all of that
// connected. Many clients are played from many 127.x addresses.
#include "RawTlsConnection.h"
#include "ServiceFixture.h"

#include <poll.h>
#include <sys/resource.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <sstream>
#include <memory>
#include <thread>

using namespace lumo_test;

namespace {

using Clock = std::chrono::steady_clock;

// The service's own limits, as a client meets them.
constexpr int kConnectionsPerAddress = 64;

class ServiceAttackTest : public ServiceFixture {
protected:
    static void SetUpTestSuite()
    {
        // A thousand and more sockets in this process.
        rlimit limit;
        getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }

    long ResidentKiB() const
    {
        std::ifstream status("/proc/" + std::to_string(service.Pid()) + "/status");
        std::string line;
        while (std::getline(status, line)) {
            if (line.rfind("VmRSS:", 0) == 0) {
                return std::stol(line.substr(6));
            }
        }
        return -1;
    }

    // A plain TCP connection from source that sends nothing.
    std::unique_ptr<RawTlsConnection> Idle(const std::string& source) const
    {
        TlsClientOptions options;
        options.source = source;
        options.handshake = false;
        return std::make_unique<RawTlsConnection>(service.Port(), service.CertPath(), options);
    }

    std::unique_ptr<RawTlsConnection> Tls(const std::string& source) const
    {
        TlsClientOptions options;
        options.source = source;
        return std::make_unique<RawTlsConnection>(service.Port(), service.CertPath(), options);
    }

    // A token check that needs no account: an unknown token is answered
    // with code 502 in a 200.
    std::chrono::milliseconds TimedTokenCheck(Answer& answer) const
    {
        const auto start = Clock::now();
        answer = Check("an-unknown-token");
        return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
    }

    size_t StoredEventsWith(const std::string& text) const
    {
        const ToolResult listed = Operator({"events"});
        EXPECT_EQ(0, listed.exitCode);
        size_t count = 0;
        for (size_t at = listed.out.find(text); at != std::string::npos; at = listed.out.find(text, at + 1)) {
            ++count;
        }
        return count;
    }

    static std::string EventRequest(const std::string& info)
    {
        const std::string body = EventForm(info);
        return "POST /lumo/user/anchor/anchor HTTP/1.1\r\nHost: 127.0.0.1\r\n"
               "Content-Type: application/x-www-form-urlencoded\r\nContent-Length: "
            + std::to_string(body.size()) + "\r\n\r\n" + body;
    }

    // True when the server has closed fd: a read sees the end within limit.
    static bool ClosedWithin(int fd, std::chrono::milliseconds limit)
    {
        pollfd one {fd, POLLIN, 0};
        if (poll(&one, 1, static_cast<int>(limit.count())) != 1) {
            return false;
        }
        char byte;
        return recv(fd, &byte, 1, MSG_PEEK) <= 0;
    }
};

TEST_F(ServiceAttackTest, AHeaderFloodIsAnswered431AndMemoryStaysFlat)
{
    ASSERT_EQ(200, Get("/about").status);
    const long before = ResidentKiB();
    ASSERT_GT(before, 0);
    // Twelve clients at once, each ready to send 20,000 header fields of
    // 7,000 bytes (140 MB); the service stops reading far sooner.
    std::atomic<int> answered431 {0};
    std::atomic<long long> sent {0};
    std::vector<std::thread> clients;
    for (int i = 0; i < 12; ++i) {
        clients.emplace_back([&, i] {
            auto connection = Tls("127.0.1." + std::to_string(i + 1));
            if (!connection->Connected()) {
                return;
            }
            connection->Write("GET /about HTTP/1.1\r\nHost: 127.0.0.1\r\n");
            const std::string field = "X-Flood: " + std::string(7000 - 11, 'f') + "\r\n";
            for (int n = 0; n < 20000; ++n) {
                if (!connection->Write(field)) {
                    break;
                }
                sent += static_cast<long long>(field.size());
                pollfd one {connection->Fd(), POLLIN, 0};
                if (poll(&one, 1, 0) == 1) {
                    break; // the answer is there
                }
            }
            connection->SetReadTimeout(5000);
            if (connection->ReadAll().rfind("HTTP/1.1 431", 0) == 0) {
                ++answered431;
            }
        });
    }
    for (std::thread& client : clients) {
        client.join();
    }
    EXPECT_EQ(12, answered431.load());
    // The clients' own socket buffers take some megabytes before the
    // connection is reset; a service reading on would take all 1.68 GB.
    EXPECT_LT(sent.load(), 12LL * 140 * 1000 * 1000 / 10) << "the service read far past its header limit";
    const long after = ResidentKiB();
    EXPECT_LT(after - before, 16 * 1024) << "resident set grew from " << before << " KiB to " << after << " KiB";
    EXPECT_EQ(200, Get("/about").status);
}

TEST_F(ServiceAttackTest, TooManyHeaderFieldsAre431InJson)
{
    RawTlsConnection connection(service.Port(), service.CertPath());
    ASSERT_TRUE(connection.Connected());
    std::string request = "GET /about HTTP/1.1\r\nHost: 127.0.0.1\r\n";
    for (int i = 0; i < 100; ++i) {
        request += "X-" + std::to_string(i) + ": 1\r\n";
    }
    ASSERT_TRUE(connection.Write(request + "\r\n"));
    connection.SetReadTimeout(5000);
    const std::string answer = connection.ReadAll();
    EXPECT_EQ(0u, answer.find("HTTP/1.1 431")) << answer;
    EXPECT_NE(std::string::npos, answer.find("{\"code\":431")) << answer;
}

TEST_F(ServiceAttackTest, ThousandsOfIdleSlowAndHalfOpenConnectionsDoNotDelayANormalRequest)
{
    std::vector<std::unique_ptr<RawTlsConnection>> held;
    // 1,000 idle TCP connections from 20 addresses, within each one's cap,
    // all taken at once: a server that takes them slowly has lost already.
    const auto opening = Clock::now();
    for (int i = 0; i < 1000; ++i) {
        held.push_back(Idle("127.0.2." + std::to_string(1 + i / 50)));
        ASSERT_TRUE(held.back()->TcpConnected()) << i;
    }
    ASSERT_LT(Clock::now() - opening, std::chrono::seconds(3));
    // 100 unfinished TLS handshakes: the start of a ClientHello, no more.
    for (int i = 0; i < 100; ++i) {
        held.push_back(Idle("127.0.3." + std::to_string(1 + i / 50)));
        ASSERT_TRUE(held.back()->TcpConnected());
        ASSERT_EQ(5, send(held.back()->Fd(), "\x16\x03\x01\x02\x00", 5, 0));
    }
    // 100 TLS connections that send their header a byte at a time.
    std::vector<std::unique_ptr<RawTlsConnection>> slow;
    for (int i = 0; i < 100; ++i) {
        slow.push_back(Tls("127.0.4." + std::to_string(1 + i / 50)));
        ASSERT_TRUE(slow.back()->Connected()) << i;
    }
    std::atomic<bool> done {false};
    std::thread trickle([&] {
        const std::string head = "POST /lumo/user/token/check HTTP/1.1\r\nHost: 127.0.0.1\r\nX-Slow: ";
        for (size_t at = 0; !done; ++at) {
            for (auto& connection : slow) {
                connection->Write(std::string(1, at < head.size() ? head[at] : 's'));
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
        }
    });

    for (int round = 0; round < 5; ++round) {
        Answer answer;
        const auto took = TimedTokenCheck(answer);
        EXPECT_EQ(200, answer.status) << answer.body;
        EXPECT_EQ(502, answer.Code()) << answer.body;
        EXPECT_LT(took.count(), 1000) << "round " << round;
    }
    done = true;
    trickle.join();
}

TEST_F(ServiceAttackTest, ConnectionsPerAddressAreCapped)
{
    std::vector<std::unique_ptr<RawTlsConnection>> held;
    for (int i = 0; i < 100; ++i) {
        held.push_back(Idle("127.0.5.1"));
        ASSERT_TRUE(held.back()->TcpConnected());
    }
    // Refused connections are closed as soon as they are taken; the others
    // stay open far longer than this.
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    int closed = 0;
    for (auto& connection : held) {
        closed += ClosedWithin(connection->Fd(), std::chrono::milliseconds(0)) ? 1 : 0;
    }
    EXPECT_EQ(100 - kConnectionsPerAddress, closed);
    // Another address is not affected.
    Answer answer;
    EXPECT_LT(TimedTokenCheck(answer).count(), 1000);
    EXPECT_EQ(200, answer.status);
}

TEST_F(ServiceAttackTest, ATrickledRequestLosesItsConnectionAtTheDeadline)
{
    auto connection = Tls("127.0.6.1");
    ASSERT_TRUE(connection->Connected());
    const auto start = Clock::now();
    ASSERT_TRUE(connection->Write("GET /about HTTP/1.1\r\nHost: 127.0.0.1\r\nX-Slow: "));
    bool cut = false;
    while (Clock::now() - start < std::chrono::seconds(20)) {
        if (!connection->Write("s") || ClosedWithin(connection->Fd(), std::chrono::milliseconds(500))) {
            cut = true;
            break;
        }
    }
    const auto lasted = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
    EXPECT_TRUE(cut);
    // The deadline is 10 s, checked every 100 ms.
    EXPECT_GE(lasted, 9500);
    EXPECT_LT(lasted, 12000);
}

TEST_F(ServiceAttackTest, TheRestOfARefusedChunkedBodyIsNeverRunAsARequest)
{
    for (int attempt = 0; attempt < 5; ++attempt) {
        RawTlsConnection connection(service.Port(), service.CertPath());
        ASSERT_TRUE(connection.Connected());
        const std::string big = EventForm(std::string(70 * 1024, 'a'));
        const std::string hidden = EventRequest("hidden-event");
        std::ostringstream chunked;
        chunked << "POST /lumo/user/anchor/anchor HTTP/1.1\r\nHost: 127.0.0.1\r\n"
                   "Content-Type: application/x-www-form-urlencoded\r\nTransfer-Encoding: chunked\r\n\r\n"
                << std::hex << big.size() << "\r\n"
                << big << "\r\n";
        // The first two hide the request inside a chunk, past the limit and
        // after it; the others send it bare after the body or after its end.
        if (attempt == 0) {
            // A server that reads 4 KiB at a time and stops at the limit
            // leaves the request as the next thing on the connection.
            const std::string data = std::string(64 * 1024, 'a') + std::string(4096, 'b') + hidden;
            chunked.str(std::string());
            chunked << "POST /lumo/user/anchor/anchor HTTP/1.1\r\nHost: 127.0.0.1\r\n"
                       "Content-Type: application/x-www-form-urlencoded\r\nTransfer-Encoding: chunked\r\n\r\n"
                    << std::hex << data.size() << "\r\n"
                    << data << "\r\n0\r\n\r\n";
        } else if (attempt == 1) {
            chunked << std::hex << hidden.size() << "\r\n" << hidden << "\r\n0\r\n\r\n";
        } else if (attempt == 2) {
            chunked << "0\r\n\r\n" << hidden;
        } else {
            chunked << hidden;
        }
        connection.Write(chunked.str());
        connection.SetReadTimeout(11000);
        const std::string answer = connection.ReadAll();
        EXPECT_EQ(0u, answer.find("HTTP/1.1 4")) << answer.substr(0, 200);
        EXPECT_EQ(std::string::npos, answer.find("HTTP/1.1 200")) << answer;
    }
    EXPECT_EQ(0u, StoredEventsWith("hidden-event"));
}

TEST_F(ServiceAttackTest, ABodyAnnouncedOverTheLimitIsRefusedUnreadAndTheConnectionClosed)
{
    RawTlsConnection connection(service.Port(), service.CertPath());
    ASSERT_TRUE(connection.Connected());
    // What follows the header would be a request of its own on a connection
    // left open.
    ASSERT_TRUE(connection.Write("POST /lumo/user/anchor/anchor HTTP/1.1\r\nHost: 127.0.0.1\r\n"
                                 "Content-Type: application/x-www-form-urlencoded\r\nContent-Length: 100000\r\n\r\n"
                                 + EventRequest("after-the-refusal")));
    connection.SetReadTimeout(10000);
    const std::string answer = connection.ReadAll();
    EXPECT_EQ(0u, answer.find("HTTP/1.1 413")) << answer;
    EXPECT_NE(std::string::npos, answer.find("Connection: close")) << answer;
    EXPECT_EQ(std::string::npos, answer.find("HTTP/1.1 200")) << answer;
    EXPECT_EQ(0u, StoredEventsWith("after-the-refusal"));
}

TEST_F(ServiceAttackTest, MultipartFormDataIs415)
{
    const Answer answer = Post("/lumo/user/anchor/anchor",
                               "--x\r\nContent-Disposition: form-data; name=\"type\"\r\n\r\nINFO\r\n--x--\r\n",
                               "multipart/form-data; boundary=x");
    EXPECT_EQ(415, answer.status) << answer.body;
    EXPECT_EQ(415, answer.Code());
}

TEST_F(ServiceAttackTest, ANegativeContentLengthIsRefusedAtOnceAndTheConnectionClosed)
{
    RawTlsConnection connection(service.Port(), service.CertPath());
    ASSERT_TRUE(connection.Connected());
    const auto start = Clock::now();
    ASSERT_TRUE(connection.Write("POST /lumo/user/anchor/anchor HTTP/1.1\r\nHost: 127.0.0.1\r\n"
                                 "Content-Type: application/x-www-form-urlencoded\r\nContent-Length: -1\r\n\r\n"));
    connection.SetReadTimeout(10000);
    const std::string answer = connection.ReadAll();
    EXPECT_EQ(0u, answer.find("HTTP/1.1 400")) << answer;
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(1));
}

TEST_F(ServiceAttackTest, Tls12OffersAeadSuitesOnly)
{
    TlsClientOptions cbc;
    cbc.maxVersion = TLS1_2_VERSION;
    cbc.ciphers = "ECDHE-ECDSA-AES128-SHA:ECDHE-ECDSA-AES256-SHA:ECDHE-ECDSA-AES128-SHA256:"
                  "ECDHE-ECDSA-AES256-SHA384:AES128-SHA:AES256-SHA:AES128-SHA256";
    EXPECT_FALSE(RawTlsConnection(service.Port(), service.CertPath(), cbc).Connected());
    TlsClientOptions gcm = cbc;
    gcm.ciphers = "ECDHE-ECDSA-AES128-GCM-SHA256";
    EXPECT_TRUE(RawTlsConnection(service.Port(), service.CertPath(), gcm).Connected());
    TlsClientOptions chacha = cbc;
    chacha.ciphers = "ECDHE-ECDSA-CHACHA20-POLY1305";
    EXPECT_TRUE(RawTlsConnection(service.Port(), service.CertPath(), chacha).Connected());
    TlsClientOptions old;
    old.maxVersion = TLS1_1_VERSION;
    EXPECT_FALSE(RawTlsConnection(service.Port(), service.CertPath(), old).Connected());
    EXPECT_TRUE(RawTlsConnection(service.Port(), service.CertPath()).Connected());
}

TEST_F(ServiceAttackTest, SigtermStopsWithinHalfASecondWhateverIsConnected)
{
    std::vector<std::unique_ptr<RawTlsConnection>> held;
    for (int i = 0; i < 300; ++i) {
        held.push_back(Idle("127.0.7." + std::to_string(1 + i / 50)));
    }
    for (int i = 0; i < 20; ++i) {
        held.push_back(Tls("127.0.8.1"));
        ASSERT_TRUE(held.back()->Connected());
        held.back()->Write("GET /about HTTP/1.1\r\nHost: 127.0.0.1\r\nX-Slow: s");
    }
    // An idle connection kept alive after a request.
    auto kept = Tls("127.0.9.1");
    ASSERT_TRUE(kept->Connected());
    ASSERT_TRUE(kept->Write("GET /about HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n"));
    ASSERT_EQ(0u, kept->ReadUntil("</html>").find("HTTP/1.1 200"));

    const auto start = Clock::now();
    EXPECT_EQ(0, service.Stop());
    const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
    EXPECT_LT(took, 500);
    EXPECT_NE(std::string::npos, LogText().find("lumo-service: stopped"));
}

} // namespace
