// Load on lumo-service with wrk: the token check and the usage endpoint,
// 32 keep-alive HTTPS connections on the loopback interface for a bounded
// time each. Prints requests per second, latency percentiles and errors, and
// checks the stored events against the answers wrk counted.
//
//   bench_service [SECONDS]      (default 10 per endpoint)
//
// Goal on the 2-core machine: at least 2,000 requests/s each, 99th percentile
// under 50 ms, no error, no lost event. Exit code 0 when every goal is met.

#include "LumoServiceProcess.h"
#include "TempDir.h"
#include "TextLines.h"

#include <httplib.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

using namespace lumo_test;

namespace {

constexpr int kConnections = 32;
constexpr double kGoalRate = 2000;
constexpr double kGoalP99Ms = 50;

// What wrk's done() callback reports.
struct Load {
    bool ran = false;
    long long requests = 0;
    long long durationUs = 0;
    long long errors = 0;
    long long p50Us = 0;
    long long p99Us = 0;
    long long maxUs = 0;

    double Rate() const { return durationUs > 0 ? requests * 1e6 / durationUs : 0; }
};

const char* kReport = R"(
done = function(summary, latency, requests)
  local e = summary.errors
  io.write(string.format("LUMO %d %d %d %d %d %d\n", summary.requests, summary.duration,
    e.connect + e.read + e.write + e.status + e.timeout,
    latency:percentile(50), latency:percentile(99), latency.max))
end
)";

std::string Script(const std::string& body)
{
    return "wrk.method = \"POST\"\nwrk.body = \"" + body
        + "\"\nwrk.headers[\"Content-Type\"] = \"application/x-www-form-urlencoded\"\n" + kReport;
}

Load RunWrk(const std::string& url, const std::string& scriptPath, int seconds)
{
    const ToolResult run = RunTool({"/usr/bin/wrk", "-t2", "-c" + std::to_string(kConnections),
                                    "-d" + std::to_string(seconds) + "s", "--timeout", "5s", "-s", scriptPath, url},
                                   "", std::chrono::seconds(seconds + 60));
    Load load;
    for (const std::string& line : SplitLines(run.out)) {
        if (line.compare(0, 5, "LUMO ") == 0) {
            std::istringstream in(line.substr(5));
            load.ran = static_cast<bool>(in >> load.requests >> load.durationUs >> load.errors >> load.p50Us
                                         >> load.p99Us >> load.maxUs);
        }
    }
    if (!load.ran) {
        std::fprintf(stderr, "wrk gave no report (exit %d):\n%s\n", run.exitCode, run.out.c_str());
    }
    return load;
}

long long StoredEvents(const LumoServiceProcess& service)
{
    return static_cast<long long>(SplitLines(service.Operator({"events"}).out).size());
}

bool Report(const char* name, const Load& load)
{
    const bool met = load.ran && load.Rate() >= kGoalRate && load.p99Us < kGoalP99Ms * 1000 && load.errors == 0;
    std::printf("%-14s %9lld %10.0f %9.2f %9.2f %9.2f %7lld   %s\n", name, load.requests, load.Rate(),
                load.p50Us / 1000.0, load.p99Us / 1000.0, load.maxUs / 1000.0, load.errors, met ? "met" : "MISSED");
    return met;
}

} // namespace

int main(int argc, char** argv)
{
    const int seconds = argc > 1 ? std::atoi(argv[1]) : 10;
    if (seconds <= 0 || seconds > 600) {
        std::fprintf(stderr, "usage: bench_service [SECONDS (1 to 600)]\n");
        return 2;
    }
    TempDir work;
    LumoServiceProcess service(LUMO_SERVICE_PATH, work.File("data"), work.File("service.log"));
    if (!service.Start()) {
        std::fprintf(stderr, "lumo-service did not start: %s\n", service.Announcement().c_str());
        return 1;
    }
    if (service.Operator({"user", "add", "bench@example.com"}, "bench password\n").exitCode != 0) {
        std::fprintf(stderr, "cannot add the bench account\n");
        return 1;
    }
    httplib::SSLClient client("127.0.0.1", service.Port());
    client.set_ca_cert_path(service.CertPath().c_str());
    client.enable_server_certificate_verification(true);
    const httplib::Result login =
        client.Post("/lumo/user/login/login", "email=bench%40example.com&password=bench%20password",
                    "application/x-www-form-urlencoded");
    const std::string marker = "\"token\":\"";
    const size_t at = login ? login->body.find(marker) : std::string::npos;
    if (at == std::string::npos) {
        std::fprintf(stderr, "cannot sign in the bench account\n");
        return 1;
    }
    const std::string token = login->body.substr(at + marker.size(), 64);

    std::ofstream(work.File("check.lua")) << Script("token=" + token + "&platform=macosx");
    std::ofstream(work.File("anchor.lua")) << Script(
        "type=INFO&version=3.0.0&platform=Linux&app=YUVLumo&page=LumoImageView&block=LumoImageViewBlock"
        "&action=LumoImageViewPlayStartClick&info=%5Buser_email%5Dbench%40example.com%3B%20%5Binfo%5D%20"
        "clip.yuv%20%2B%20%5Bfps%3A25%5D");

    std::printf("lumo-service under wrk: %d connections, %d s per endpoint, HTTPS keep-alive on loopback\n\n",
                kConnections, seconds);
    const Load check = RunWrk(service.BaseUrl() + "/lumo/user/token/check", work.File("check.lua"), seconds);
    const long long before = StoredEvents(service);
    const Load anchor = RunWrk(service.BaseUrl() + "/lumo/user/anchor/anchor", work.File("anchor.lua"), seconds);
    const long long stored = StoredEvents(service) - before;
    const int stopped = service.Stop();

    std::printf("%-14s %9s %10s %9s %9s %9s %7s   %s\n", "endpoint", "requests", "req/s", "p50 ms", "p99 ms",
                "max ms", "errors", "goal");
    bool met = Report("token check", check);
    met = Report("usage event", anchor) && met;
    // wrk counts the answers it read; posts still on their way when time ran
    // out may be stored without being counted, one per connection at most.
    const bool noneLost = anchor.ran && stored >= anchor.requests && stored <= anchor.requests + kConnections;
    std::printf("\nusage events answered %lld, stored %lld: %s\n", anchor.requests, stored,
                noneLost ? "none lost" : "MISMATCH");
    std::printf("service stopped with exit code %d\n", stopped);
    return met && noneLost && stopped == 0 ? 0 : 1;
}
