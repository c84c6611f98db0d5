#ifndef LUMO_TESTS_POSTGRESSERVER_H
#define LUMO_TESTS_POSTGRESSERVER_H

#include "LumoServiceProcess.h"
#include "TempDir.h"

#include <libpq-fe.h>
#include <netinet/in.h>
#include <pwd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <vector>

namespace lumo_test {

// A private PostgreSQL 15 server on a free loopback port, in a temporary
// folder, for the tests' own use. It trusts local connections for the user
// "lumo". initdb and pg_ctl refuse to run as root, so under root they run as
// the postgres user, which then owns the folder.
class PostgresServer {
public:
    static constexpr const char* kBin = "/usr/lib/postgresql/15/bin/";

    PostgresServer() = default;
    ~PostgresServer() { Stop(); }
    PostgresServer(const PostgresServer&) = delete;
    PostgresServer& operator=(const PostgresServer&) = delete;

    // Makes the cluster on first use and starts the server; false with the
    // reason in error.
    bool Start(std::string& error)
    {
        if (running) {
            return true;
        }
        if (!initialised) {
            if (!Own(error)) {
                return false;
            }
            const ToolResult made = Run({std::string(kBin) + "initdb", "-D", DataPath(), "-A", "trust", "-U", "lumo",
                                         "-E", "UTF8", "--locale=C", "--no-sync"});
            if (made.exitCode != 0) {
                error = "initdb failed: " + made.out + ReadWholeFile(LogPath());
                return false;
            }
            initialised = true;
            port = FreePort();
        }
        const ToolResult started = Run({std::string(kBin) + "pg_ctl", "-D", DataPath(), "-l", ServerLogPath(), "-o",
                                        "-p " + std::to_string(port) + " -k " + dir.Path()
                                            + " -c listen_addresses=127.0.0.1 -c fsync=off",
                                        "-w", "-t", "30", "start"});
        if (started.exitCode != 0) {
            error = "pg_ctl start failed: " + ReadWholeFile(LogPath()) + ReadWholeFile(ServerLogPath());
            return false;
        }
        running = true;
        return true;
    }

    // Stops the server at once, ending every connection.
    void Stop()
    {
        if (running) {
            Run({std::string(kBin) + "pg_ctl", "-D", DataPath(), "-m", "fast", "-w", "-t", "30", "stop"});
            running = false;
        }
    }

    int Port() const { return port; }

    std::string Url(const std::string& database) const
    {
        return "postgresql://lumo@127.0.0.1:" + std::to_string(port) + "/" + database;
    }

    // A new, empty database with a name no other test of this process uses.
    bool CreateDatabase(std::string& name, std::string& error)
    {
        static std::atomic<int> counter {0};
        name = "lumo_" + std::to_string(getpid()) + "_" + std::to_string(++counter);
        return Exec("postgres", "CREATE DATABASE " + name, error);
    }

    // Runs statements on database as its owner.
    bool Exec(const std::string& database, const std::string& sql, std::string& error) const
    {
        PGconn* connection = PQconnectdb(Url(database).c_str());
        bool done = PQstatus(connection) == CONNECTION_OK;
        if (done) {
            PGresult* result = PQexec(connection, sql.c_str());
            const ExecStatusType status = PQresultStatus(result);
            done = status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK;
            PQclear(result);
        }
        if (!done) {
            error = PQerrorMessage(connection);
        }
        PQfinish(connection);
        return done;
    }

    // The first column of the first row as a number; -1 when there is none.
    long long QueryNumber(const std::string& database, const std::string& sql) const
    {
        PGconn* connection = PQconnectdb(Url(database).c_str());
        long long value = -1;
        if (PQstatus(connection) == CONNECTION_OK) {
            PGresult* result = PQexec(connection, sql.c_str());
            if (PQresultStatus(result) == PGRES_TUPLES_OK && PQntuples(result) > 0 && !PQgetisnull(result, 0, 0)) {
                value = std::stoll(PQgetvalue(result, 0, 0));
            }
            PQclear(result);
        }
        PQfinish(connection);
        return value;
    }

private:
    std::string DataPath() const { return dir.File("data"); }
    std::string LogPath() const { return dir.File("tool.log"); }
    std::string ServerLogPath() const { return dir.File("server.log"); }

    static bool AsRoot() { return geteuid() == 0; }

    // Under root the folder goes to the postgres user.
    bool Own(std::string& error) const
    {
        if (!AsRoot()) {
            return true;
        }
        const passwd* user = getpwnam("postgres");
        if (user == nullptr || chown(dir.Path().c_str(), user->pw_uid, user->pw_gid) != 0) {
            error = "cannot hand " + dir.Path() + " to the postgres user";
            return false;
        }
        return true;
    }

    ToolResult Run(std::vector<std::string> argv) const
    {
        if (AsRoot()) {
            argv.insert(argv.begin(), {"/usr/sbin/runuser", "-u", "postgres", "--"});
        }
        return RunTool(argv, std::string(), std::chrono::seconds(60), LogPath());
    }

    static int FreePort()
    {
        const int probe = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        int found = 0;
        if (bind(probe, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0
            && getsockname(probe, reinterpret_cast<sockaddr*>(&address), &length) == 0) {
            found = ntohs(address.sin_port);
        }
        close(probe);
        return found;
    }

    TempDir dir;
    bool initialised = false;
    bool running = false;
    int port = 0;
};

} // namespace lumo_test

#endif
