#ifndef LUMO_TESTS_SERVICEFIXTURE_H
#define LUMO_TESTS_SERVICEFIXTURE_H

#include "LumoServiceProcess.h"
#include "TempDir.h"

#include <gtest/gtest.h>
#include <httplib.h>

#include <QByteArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>
#include <QUrl>

#include <csignal>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace lumo_test {

// One answer of the service: HTTP status, headers, body and the body as JSON.
struct Answer {
    bool reached = false; // false: no HTTP answer at all
    int status = 0;
    std::string body;
    httplib::Headers headers;
    QJsonObject json;

    int Code() const { return json.value("code").toInt(-1); }
    std::string Message() const { return json.value("message").toString().toStdString(); }
    std::string Model(const char* name) const
    {
        return json.value("model").toObject().value(name).toString().toStdString();
    }
};

// "name=value&..." with values percent-encoded as the application does.
inline std::string Form(const std::vector<std::pair<std::string, std::string>>& fields)
{
    std::string body;
    for (const auto& field : fields) {
        if (!body.empty()) {
            body += '&';
        }
        body += field.first + "=" + QUrl::toPercentEncoding(QString::fromStdString(field.second)).toStdString();
    }
    return body;
}

inline Answer ReadAnswer(const httplib::Result& result)
{
    Answer answer;
    if (!result) {
        return answer;
    }
    answer.reached = true;
    answer.status = result->status;
    answer.body = result->body;
    answer.headers = result->headers;
    answer.json = QJsonDocument::fromJson(QByteArray::fromStdString(result->body)).object();
    return answer;
}

// A usage event as the application posts it, with the info given.
inline std::string EventForm(const std::string& info)
{
    return Form({{"type", "INFO"},
                 {"version", "3.0.0"},
                 {"platform", "Linux"},
                 {"app", "YUVLumo"},
                 {"page", "p"},
                 {"block", "b"},
                 {"action", "a"},
                 {"info", info}});
}

// An HTTPS client of the service on port that trusts caPath alone.
inline std::unique_ptr<httplib::SSLClient> VerifyingClient(int port, const std::string& caPath)
{
    auto client = std::make_unique<httplib::SSLClient>("127.0.0.1", port);
    client->set_ca_cert_path(caPath.c_str());
    client->enable_server_certificate_verification(true);
    client->set_connection_timeout(10);
    client->set_read_timeout(30);
    return client;
}

// A fresh lumo-service for each test, reached over HTTPS that verifies its
// generated certificate.
class ServiceFixture : public ::testing::Test {
protected:
    static constexpr const char* kFormType = "application/x-www-form-urlencoded";

    void SetUp() override
    {
        // A test that writes to a connection the service has closed (a body
        // it refused, a service that stopped) gets an error, not SIGPIPE.
        signal(SIGPIPE, SIG_IGN);
        ASSERT_TRUE(StartService()) << service.Announcement();
    }

    bool StartService(const std::vector<std::string>& extra = {})
    {
        std::vector<std::string> args {"--test-clock-offset-file", ClockFile()};
        args.insert(args.end(), extra.begin(), extra.end());
        return service.Start(args);
    }

    std::string ClockFile() const { return work.File("clock-offset"); }

    // Moves the service's clock to offset seconds after the real one.
    void SetClockOffset(long long seconds) const { std::ofstream(ClockFile()) << seconds << "\n"; }

    std::unique_ptr<httplib::SSLClient> Client() const { return VerifyingClient(service.Port(), service.CertPath()); }

    static Answer Read(const httplib::Result& result) { return ReadAnswer(result); }

    Answer Post(const std::string& path, const std::string& body, const char* type = kFormType) const
    {
        return Read(Client()->Post(path.c_str(), body, type));
    }

    Answer Get(const std::string& path) const
    {
        return Read(Client()->Get(path.c_str()));
    }

    ToolResult Operator(const std::vector<std::string>& args, const std::string& input = std::string()) const
    {
        return service.Operator(args, input);
    }

    void AddUser(const std::string& email, const std::string& password) const
    {
        const ToolResult added = Operator({"user", "add", email}, password + "\n");
        ASSERT_EQ(0, added.exitCode) << added.out;
    }

    Answer Login(const std::string& email, const std::string& password) const
    {
        return Post("/lumo/user/login/login", Form({{"email", email}, {"password", password}}));
    }

    std::string TokenFor(const std::string& email, const std::string& password) const
    {
        const Answer answer = Login(email, password);
        EXPECT_EQ(200, answer.Code()) << answer.body;
        return answer.Model("token");
    }

    Answer Check(const std::string& token) const
    {
        return Post("/lumo/user/token/check", Form({{"token", token}, {"platform", "macosx"}}));
    }

    std::string LogText() const { return ReadWholeFile(work.File("service.log")); }

    TempDir work;
    TempDir data;
    LumoServiceProcess service {LUMO_SERVICE_PATH, data.Path(), work.File("service.log")};
};

} // namespace lumo_test

#endif
