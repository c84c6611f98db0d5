#include "ServiceOptions.h"

#include <gtest/gtest.h>

using namespace lumo_service;

namespace {

ServiceOptions Parsed(const std::vector<std::string>& args)
{
    ServiceOptions options;
    std::string error;
    EXPECT_TRUE(ParseServiceOptions(args, options, error)) << error;
    return options;
}

std::string Refusal(const std::vector<std::string>& args)
{
    ServiceOptions options;
    std::string error;
    EXPECT_FALSE(ParseServiceOptions(args, options, error));
    return error;
}

} // namespace

TEST(ServiceOptionsTest, ServeListensOnLoopback8443ByDefault)
{
    const ServiceOptions options = Parsed({"serve", "--data", "/d"});
    EXPECT_EQ(Command::Serve, options.command);
    EXPECT_EQ("/d", options.dataDir);
    EXPECT_EQ("127.0.0.1", options.listenHost);
    EXPECT_EQ(8443, options.listenPort);
    EXPECT_TRUE(options.certPath.empty());
}

TEST(ServiceOptionsTest, ServeTakesListenCertAndKey)
{
    const ServiceOptions options =
        Parsed({"serve", "--data", "/d", "--listen", "0.0.0.0:0", "--cert", "c.pem", "--key", "k.pem"});
    EXPECT_EQ("0.0.0.0", options.listenHost);
    EXPECT_EQ(0, options.listenPort);
    EXPECT_EQ("c.pem", options.certPath);
    EXPECT_EQ("k.pem", options.keyPath);
}

TEST(ServiceOptionsTest, ListenTakesBracketedIpv6)
{
    std::string host;
    int port = 0;
    ASSERT_TRUE(ParseListenAddress("[::1]:9000", host, port));
    EXPECT_EQ("::1", host);
    EXPECT_EQ(9000, port);
    EXPECT_FALSE(ParseListenAddress("::1:9000", host, port));
    EXPECT_FALSE(ParseListenAddress("host", host, port));
    EXPECT_FALSE(ParseListenAddress(":80", host, port));
    EXPECT_FALSE(ParseListenAddress("host:65536", host, port));
    EXPECT_FALSE(ParseListenAddress("host:-1", host, port));
    EXPECT_FALSE(ParseListenAddress("host:8x", host, port));
    EXPECT_FALSE(ParseListenAddress("[]:80", host, port));
}

TEST(ServiceOptionsTest, OperatorCommandsTakeDataBeforeTheCommand)
{
    const ServiceOptions add = Parsed({"--data", "/d", "user", "add", "a@b.cd"});
    EXPECT_EQ(Command::UserAdd, add.command);
    EXPECT_EQ("a@b.cd", add.email);
    EXPECT_EQ(Command::UserReset, Parsed({"--data", "/d", "user", "reset", "a@b.cd"}).command);
    EXPECT_EQ(Command::UserDisable, Parsed({"--data", "/d", "user", "disable", "a@b.cd"}).command);
    const ServiceOptions version = Parsed({"--data", "/d", "version", "set", "YUVLumo", "3.1.0"});
    EXPECT_EQ(Command::VersionSet, version.command);
    EXPECT_EQ("YUVLumo", version.app);
    EXPECT_EQ("3.1.0", version.version);
    const ServiceOptions events = Parsed({"--data", "/d", "events", "--limit", "5"});
    EXPECT_EQ(Command::Events, events.command);
    EXPECT_EQ(5, events.limit);
    EXPECT_EQ(-1, Parsed({"--data", "/d", "feedback"}).limit);
}

TEST(ServiceOptionsTest, HelpNeedsNothingElse)
{
    EXPECT_EQ(Command::Help, Parsed({"--help"}).command);
    EXPECT_EQ(Command::Help, Parsed({"serve", "-h"}).command);
    EXPECT_NE(std::string::npos, ServiceUsage().find("lumo-service serve --data DIR"));
}

TEST(ServiceOptionsTest, RefusesWhatItDoesNotKnow)
{
    EXPECT_NE(std::string::npos, Refusal({}).find("no command"));
    EXPECT_NE(std::string::npos, Refusal({"serve"}).find("--data"));
    EXPECT_NE(std::string::npos, Refusal({"--data", "/d", "start"}).find("unknown command"));
    EXPECT_NE(std::string::npos, Refusal({"--data", "/d", "user", "add"}).find("unknown command"));
    EXPECT_NE(std::string::npos, Refusal({"--data", "/d", "user", "remove", "a@b.cd"}).find("unknown command"));
    EXPECT_NE(std::string::npos, Refusal({"--data", "/d", "serve", "--port", "1"}).find("unknown option"));
    EXPECT_NE(std::string::npos, Refusal({"serve", "--data"}).find("needs a value"));
    EXPECT_NE(std::string::npos, Refusal({"serve", "--data", "/d", "--listen", "x"}).find("HOST:PORT"));
    EXPECT_NE(std::string::npos, Refusal({"serve", "--data", "/d", "--cert", "c"}).find("together"));
    EXPECT_NE(std::string::npos, Refusal({"--data", "/d", "events", "--listen", "a:1"}).find("belong to serve"));
    EXPECT_NE(std::string::npos, Refusal({"--data", "/d", "user", "add", "a@b.cd", "--limit", "1"}).find("--limit"));
    EXPECT_NE(std::string::npos, Refusal({"--data", "/d", "events", "--limit", "-1"}).find("number"));
}

TEST(ServiceOptionsTest, DbTakesAConnectionStringForEveryCommand)
{
    EXPECT_TRUE(Parsed({"serve", "--data", "/d"}).database.empty());
    EXPECT_EQ("postgresql://lumo@db:5432/lumo",
              Parsed({"serve", "--data", "/d", "--db", "postgresql://lumo@db:5432/lumo"}).database);
    const ServiceOptions events = Parsed({"--data", "/d", "--db", "host=db dbname=lumo", "events"});
    EXPECT_EQ(Command::Events, events.command);
    EXPECT_EQ("host=db dbname=lumo", events.database);
    EXPECT_EQ("postgresql:///x", Parsed({"--data", "/d", "user", "add", "a@b.cd", "--db", "postgresql:///x"}).database);
    EXPECT_NE(std::string::npos, Refusal({"serve", "--data", "/d", "--db", ""}).find("connection string"));
    EXPECT_NE(std::string::npos, Refusal({"serve", "--data", "/d", "--db"}).find("needs a value"));
}

TEST(ServiceOptionsTest, RetentionHasDefaultsAndBelongsToServeAndEventsPurge)
{
    const ServiceOptions defaults = Parsed({"serve", "--data", "/d"});
    EXPECT_EQ(1000000, defaults.eventsKeep);
    EXPECT_EQ(400, defaults.eventsDays);
    EXPECT_EQ(256, defaults.eventsReserveMiB);
    const ServiceOptions serve = Parsed({"serve", "--data", "/d", "--events-keep", "10", "--events-days", "0",
                                         "--events-reserve-mib", "1"});
    EXPECT_EQ(10, serve.eventsKeep);
    EXPECT_EQ(0, serve.eventsDays);
    EXPECT_EQ(1, serve.eventsReserveMiB);
    const ServiceOptions purge =
        Parsed({"--data", "/d", "events", "purge", "--events-keep", "5", "--events-days", "7"});
    EXPECT_EQ(Command::EventsPurge, purge.command);
    EXPECT_EQ(5, purge.eventsKeep);
    EXPECT_EQ(7, purge.eventsDays);
    EXPECT_EQ(Command::EventsPurge, Parsed({"--data", "/d", "events", "purge"}).command);
}

TEST(ServiceOptionsTest, RetentionRefusesNonsenseAndOtherCommands)
{
    EXPECT_NE(std::string::npos, Refusal({"serve", "--data", "/d", "--events-keep", "x"}).find("takes a number"));
    EXPECT_NE(std::string::npos, Refusal({"serve", "--data", "/d", "--events-days", "-1"}).find("takes a number"));
    EXPECT_NE(std::string::npos,
              Refusal({"serve", "--data", "/d", "--events-reserve-mib", "1000000000"}).find("takes a number"));
    EXPECT_NE(std::string::npos, Refusal({"--data", "/d", "events", "--events-keep", "5"}).find("events purge"));
    EXPECT_NE(std::string::npos, Refusal({"--data", "/d", "feedback", "--events-days", "5"}).find("events purge"));
    EXPECT_NE(std::string::npos,
              Refusal({"--data", "/d", "events", "purge", "--events-reserve-mib", "5"}).find("belong to serve"));
    EXPECT_NE(std::string::npos, Refusal({"--data", "/d", "events", "purge", "now"}).find("unknown command"));
    EXPECT_NE(std::string::npos, Refusal({"--data", "/d", "events", "purge", "--limit", "1"}).find("--limit"));
}

TEST(ServiceOptionsTest, EventBurstAndRateBelongToServeAndStartAtOne)
{
    const ServiceOptions defaults = Parsed({"serve", "--data", "/d"});
    EXPECT_EQ(120, defaults.eventsBurst);
    EXPECT_EQ(120, defaults.eventsPerMinute);
    const ServiceOptions set = Parsed({"serve", "--data", "/d", "--events-burst", "1000", "--events-per-minute", "6000"});
    EXPECT_EQ(1000, set.eventsBurst);
    EXPECT_EQ(6000, set.eventsPerMinute);
    EXPECT_NE(std::string::npos, Refusal({"serve", "--data", "/d", "--events-burst", "0"}).find("from 1"));
    EXPECT_NE(std::string::npos, Refusal({"serve", "--data", "/d", "--events-per-minute", "x"}).find("from 1"));
    EXPECT_NE(std::string::npos,
              Refusal({"--data", "/d", "events", "purge", "--events-burst", "5"}).find("belong to serve"));
}
