#ifndef LUMO_TESTS_SERVICENODE_H
#define LUMO_TESTS_SERVICENODE_H

#include "ServiceFixture.h"

#include <memory>
#include <string>

namespace lumo_test {

// One of several serving processes on one database, with its own data
// folder and log, reached over HTTPS that verifies its certificate: its own,
// or one the nodes share, as processes serving one name do.
class ServiceNode {
public:
    ServiceNode(const std::string& name, const TempDir& work)
        : log(work.File(name + ".log"))
        , process(LUMO_SERVICE_PATH, data.Path(), log)
    {
    }

    // certPath and keyPath: a pair shared with other nodes; empty, the
    // node's own.
    bool Start(const std::string& url, const std::string& certPath = std::string(),
               const std::string& keyPath = std::string())
    {
        caPath = certPath.empty() ? process.CertPath() : certPath;
        if (certPath.empty()) {
            return process.Start({"--db", url});
        }
        return process.Start({"--db", url, "--cert", certPath, "--key", keyPath});
    }

    // A client that comes from address, any 127.x one.
    std::unique_ptr<httplib::SSLClient> Client(const std::string& address = "127.0.0.1") const
    {
        auto client = VerifyingClient(process.Port(), caPath);
        client->set_interface(address);
        return client;
    }

    Answer Post(const std::string& path, const std::string& body, const std::string& address = "127.0.0.1") const
    {
        return ReadAnswer(Client(address)->Post(path.c_str(), body, "application/x-www-form-urlencoded"));
    }

    Answer Login(const std::string& email, const std::string& password,
                 const std::string& address = "127.0.0.1") const
    {
        return Post("/lumo/user/login/login", Form({{"email", email}, {"password", password}}), address);
    }

    std::string Token(const std::string& email, const std::string& password) const
    {
        const Answer answer = Login(email, password);
        EXPECT_EQ(200, answer.Code()) << answer.body;
        return answer.Model("token");
    }

    Answer Check(const std::string& token) const
    {
        return Post("/lumo/user/token/check", Form({{"token", token}, {"platform", "Linux"}}));
    }

    std::string Log() const { return ReadWholeFile(log); }

private:
    TempDir data;
    std::string log;
    std::string caPath;
    LumoServiceProcess process;
};

} // namespace lumo_test

#endif
