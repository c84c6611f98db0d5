#ifndef LUMO_TESTS_ONLINETESTSERVICE_H
#define LUMO_TESTS_ONLINETESTSERVICE_H

#include "online/ServiceNetwork.h"

#include "LumoServiceProcess.h"
#include "SettingsScope.h"
#include "TempDir.h"
#include "TextLines.h"

#include <QByteArray>
#include <QEventLoop>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSettings>
#include <QTimer>
#include <QtGlobal>

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace lumo_test {

// One real lumo-service shared by a test suite, with the application's
// requests pointed at it (YUVLUMO_SERVICE_URL) and its certificate trusted
// (YUVLUMO_SERVICE_CA).
class OnlineTestService {
public:
    // extra: more arguments of "serve".
    bool Start(const std::vector<std::string>& extra = {})
    {
        service = std::make_unique<LumoServiceProcess>(LUMO_SERVICE_PATH, data.Path(), work.File("service.log"));
        if (!service->Start(extra)) {
            return false;
        }
        qputenv("YUVLUMO_SERVICE_URL", QByteArray::fromStdString(service->BaseUrl()));
        qputenv("YUVLUMO_SERVICE_CA", QByteArray::fromStdString(service->CertPath()));
        return true;
    }

    void Stop()
    {
        service.reset();
        qunsetenv("YUVLUMO_SERVICE_URL");
        qunsetenv("YUVLUMO_SERVICE_CA");
    }

    LumoServiceProcess& Process() { return *service; }

    // Every stored event, oldest first.
    std::vector<QJsonObject> Events() const
    {
        std::vector<QJsonObject> events;
        for (const std::string& line : SplitLines(service->Operator({"events"}).out)) {
            events.push_back(QJsonDocument::fromJson(QByteArray::fromStdString(line)).object());
        }
        return events;
    }

    // Runs the event loop until count stored events mention text (a test's
    // own file path, say) or the limit has passed; returns those events,
    // oldest first. Other tests' posts still on their way do not count.
    std::vector<QJsonObject> WaitForEventsMentioning(const QString& text, size_t count,
                                                     std::chrono::milliseconds limit = std::chrono::seconds(20)) const
    {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        for (;;) {
            std::vector<QJsonObject> matching;
            for (const QJsonObject& event : Events()) {
                if (event.value("info").toString().contains(text)) {
                    matching.push_back(event);
                }
            }
            if (matching.size() >= count || std::chrono::steady_clock::now() > deadline) {
                return matching;
            }
            QEventLoop loop;
            QTimer::singleShot(20, &loop, &QEventLoop::quit);
            loop.exec();
        }
    }

    // Usage posts the service has answered so far, read from its request log.
    int AnsweredEvents() const
    {
        int count = 0;
        for (const std::string& line : SplitLines(ReadWholeFile(work.File("service.log")))) {
            if (line.find("POST /lumo/user/anchor/anchor ") != std::string::npos) {
                ++count;
            }
        }
        return count;
    }

    // Runs the event loop until the service has answered count usage posts
    // or the limit has passed; true when it has.
    bool WaitForAnsweredEvents(int count, std::chrono::milliseconds limit = std::chrono::seconds(20)) const
    {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (AnsweredEvents() < count) {
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            QEventLoop loop;
            QTimer::singleShot(10, &loop, &QEventLoop::quit);
            loop.exec();
        }
        return true;
    }

private:
    TempDir work;
    TempDir data;
    std::unique_ptr<LumoServiceProcess> service;
};

// A test suite sharing one real lumo-service between its tests; each test
// still gets a settings store of its own.
class ServiceSuite : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        service = new OnlineTestService();
        ASSERT_TRUE(service->Start());
    }
    static void TearDownTestSuite()
    {
        service->Stop();
        delete service;
        service = nullptr;
    }

    // Stores a session as a signed-in user has one.
    static void StoreSession(const QString& token, const QString& email)
    {
        QSettings settings("MediaLumo", "YUVLumo");
        settings.setValue("TOKEN", token);
        settings.setValue("EMAIL", email);
    }

    // The suite service's certificate and key.
    static std::string TlsFolder() { return service->Process().DataDir() + "/tls"; }

    // Counts the stored events that match.
    static size_t CountEvents(const std::function<bool(const QJsonObject&)>& match)
    {
        size_t count = 0;
        for (const QJsonObject& event : service->Events()) {
            count += match(event) ? 1 : 0;
        }
        return count;
    }

    static inline OnlineTestService* service = nullptr;
    SettingsScope settingsScope;

private:
    // When a test ends, its requests (usage posts among them) are waited
    // for (20 s at most), so the suite's next test finds only its own on
    // their way.
    struct UsagePostsSettle {
        ~UsagePostsSettle()
        {
            const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
            while (ServiceNetwork::RequestsUnderWay() > 0 && std::chrono::steady_clock::now() < deadline) {
                QEventLoop loop;
                QTimer::singleShot(10, &loop, &QEventLoop::quit);
                loop.exec();
            }
        }
    };
    UsagePostsSettle usagePostsSettle;
};

} // namespace lumo_test

#endif
