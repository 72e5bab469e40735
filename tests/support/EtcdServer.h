// An etcd of the test's own, with its data in the test's home; and a server that says what the test wants.
#pragma once

#include "TestHome.h"
#include <Child.h>
#include <Http.h>

#include <arpa/inet.h>
#include <chrono>
#include <netinet/in.h>
#include <optional>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <vector>

// A loopback port that nobody has, for as long as this is there; a server may be bound to it afterwards.
class LoopbackPort {
  public:
    LoopbackPort() : m_socket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        auto* const generic = reinterpret_cast<sockaddr*>(&address);
        socklen_t size = sizeof address;
        if (bind(m_socket, generic, size) != 0 || getsockname(m_socket, generic, &size) != 0)
            std::abort();
        m_number = ntohs(address.sin_port);
    }
    ~LoopbackPort() { close(m_socket); }
    LoopbackPort(const LoopbackPort&) = delete;
    LoopbackPort& operator=(const LoopbackPort&) = delete;

    int descriptor() const { return m_socket; }
    std::string address() const { return "127.0.0.1:" + std::to_string(m_number); }

  private:
    int m_socket;
    int m_number = 0;
};

// Of a certificate that is its own authority; `name`.pem and `name`.key in the home.
inline std::string makeCertificate(const std::string& name) {
    const std::string base = (TestHome::instance().path() / name).string();
    EXPECT_EQ(Child::run({"/bin/sh", "-c",
                          "exec openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 "
                          "-subj /CN=localhost -addext subjectAltName=IP:127.0.0.1 -keyout '" +
                              base + ".key' -out '" + base + ".pem' 2>/dev/null"})
                  .wait(),
              0);
    return base;
}

class EtcdServer {
  public:
    static bool isInstalled() { return std::system("command -v etcd etcdctl openssl >/dev/null") == 0; }

    // With TLS its certificate is `certificate`.pem.
    explicit EtcdServer(const std::string& name = "etcd", const std::string& certificate = {})
        : m_folder(TestHome::instance().path() / name), m_certificate(certificate) {
        std::filesystem::remove_all(m_folder); // of another case in this process
        const LoopbackPort client, peer;
        m_client = client.address();
        m_peer = "http://" + peer.address();
    }
    const std::string& address() const { return m_client; }
    std::string url() const { return (m_certificate.empty() ? "http://" : "https://") + m_client; }

    // On the same ports and data as before. Returns whether it can be asked.
    bool start() {
        std::vector<std::string> words = {"/bin/sh", "-c", R"(exec "$0" "$@" >>')" + m_folder.string() + ".log' 2>&1"};
        for (const std::string& word :
             {std::string("etcd"), std::string("--data-dir"), m_folder.string(), std::string("--listen-client-urls"),
              url(), std::string("--advertise-client-urls"), url(), std::string("--listen-peer-urls"), m_peer,
              std::string("--initial-advertise-peer-urls"), m_peer, std::string("--initial-cluster"),
              "default=" + m_peer, std::string("--heartbeat-interval=10"), std::string("--election-timeout=100")})
            words.push_back(word);
        if (!m_certificate.empty())
            words.insert(words.end(), {"--cert-file", m_certificate + ".pem", "--key-file", m_certificate + ".key"});
        m_child.emplace(Child::run(words));
        for (int tries = 0; tries < 600 && !m_child->hasEnded(); ++tries) {
            if (ask("kv/range", R"({"key": "YQ=="})").status / 100 % 5 != 0) // even if only with a refusal
                return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return false;
    }
    int kill() { return m_child->kill(); }
    void signal(int number) const { m_child->signal(number); }

    // With the command line of etcdctl; true when that succeeds.
    bool ctl(const std::string& line) const {
        const std::string trust = m_certificate.empty() ? "" : " --cacert='" + m_certificate + ".pem'";
        return Child::run({"/bin/sh", "-c",
                           "ETCDCTL_API=3 exec etcdctl --endpoints=" + url() + trust + " " + line + " >>'" +
                               m_folder.string() + ".ctl' 2>&1"})
                   .wait() == 0;
    }
    wdlt::HttpReply ask(const std::string& call, const std::string& body) const {
        return wdlt::makeHttpClient({.caFile = m_certificate.empty() ? "" : m_certificate + ".pem"})
            ->post({.url = url() + "/v3/" + call, .body = body, .connectLimit = std::chrono::seconds(5)},
                   std::chrono::seconds(5));
    }

  private:
    const std::filesystem::path m_folder;
    const std::string m_certificate;
    std::string m_client;
    std::string m_peer;
    std::optional<Child> m_child;
};

// Answers each connection with the next of its answers, whatever it is asked; to further ones it listens for ever.
class ScriptedServer {
  public:
    struct Answer {
        std::vector<std::string> pieces; // with a pause between them
        bool closes = true;
    };
    explicit ScriptedServer(std::vector<Answer> answers)
        : m_child([this, answers = std::move(answers)] {
              if (listen(m_port.descriptor(), 16) != 0)
                  return;
              m_ready.signal();
              for (const Answer& answer : answers)
                  give(answer);
              pauseForever();
          }) {
        m_ready.await();
    }
    std::string url() const { return "http://" + m_port.address(); }

  private:
    void give(const Answer& answer) const {
        const int connection = accept(m_port.descriptor(), nullptr, nullptr);
        char request[4096];
        if (recv(connection, request, sizeof request, 0) <= 0)
            return;
        for (const std::string& piece : answer.pieces) {
            for (std::size_t sent = 0; sent < piece.size();) {
                const auto size = send(connection, piece.data() + sent, piece.size() - sent, MSG_NOSIGNAL);
                if (size <= 0)
                    break;
                sent += static_cast<std::size_t>(size);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        if (answer.closes)
            shutdown(connection, SHUT_WR);
    }

    const LoopbackPort m_port;
    const Pipe m_ready;
    Child m_child;
};
