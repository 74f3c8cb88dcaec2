// SPDX-License-Identifier: Apache-2.0
// tests/tools/media_net_test.cpp - vx capture of cameras and servers that come over the network, and go away.
#include <arpa/inet.h>
#include <sys/socket.h>

#include <fstream>
#include <sstream>

#include "media_fixture.h"

namespace {

/// A web server that answers the n-th connection with the n-th text, then closes it; an empty text is no answer
/// at all. Notes when each connection came.
class ClosingServer {
public:
    explicit ClosingServer(std::vector<std::string> answers)
    {
        sockaddr_in address{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
        socklen_t size = sizeof address;
        m_socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        ::bind(m_socket, reinterpret_cast<sockaddr*>(&address), size);
        ::getsockname(m_socket, reinterpret_cast<sockaddr*>(&address), &size);
        const timeval patience{30, 0}; // for accept(): who does not come is not waited for
        ::setsockopt(m_socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        ::listen(m_socket, 8);
        m_port = ntohs(address.sin_port);
        m_thread = std::jthread([this, answers = std::move(answers)] { Serve(answers); });
    }
    ~ClosingServer()
    {
        ::shutdown(m_socket, SHUT_RDWR); // whom accept() keeps goes on
        m_thread.join();
        ::close(m_socket);
    }

    std::string Port() const { return std::to_string(m_port); }

    /// Waits for the last answer. @return seconds between one connection and the next.
    std::vector<double> Gaps()
    {
        m_thread.join();
        m_thread = std::jthread([] {});
        std::vector<double> gaps;
        for (std::size_t i = 1; i < m_times.size(); ++i) {
            gaps.push_back(std::chrono::duration<double>(m_times[i] - m_times[i - 1]).count());
        }
        return gaps;
    }

private:
    void Serve(const std::vector<std::string>& answers)
    {
        for (const std::string& answer : answers) {
            const int client = ::accept4(m_socket, nullptr, nullptr, SOCK_CLOEXEC);
            m_times.push_back(std::chrono::steady_clock::now());
            char request[4096];
            if (client < 0 || ::read(client, request, sizeof request) <= 0) {
                return;
            }
            for (std::size_t sent = 0; sent < answer.size();) {
                const ssize_t step = ::send(client, answer.data() + sent, answer.size() - sent, MSG_NOSIGNAL);
                sent = step > 0 ? sent + static_cast<std::size_t>(step) : answer.size();
            }
            ::close(client);
        }
    }

    int m_socket = -1;
    int m_port = 0;
    std::vector<std::chrono::steady_clock::time_point> m_times;
    std::jthread m_thread;
};

// Catches: a server that goes away ending the capture, or costing its readers their FIFO; a camera that is away
// and asked again at once, for ever.
TEST_F(MediaTest, ReconnectsWithGrowingPausesAndItsReadersStay)
{
    const std::string source = Clip(
        "-f lavfi -i testsrc2=size=320x240:rate=25 -t 2 -c:v libx264 -preset ultrafast -g 25", "live.ts");
    std::ostringstream answer;
    answer << "HTTP/1.0 200 OK\r\nContent-Type: video/mp2t\r\n\r\n" << std::ifstream(source).rdbuf();
    ClosingServer server({answer.str(), "", "HTTP/1.0 404 Not Found\r\n\r\n", answer.str()});
    VxProcess recorder({"record", Path("net.mp4"), "--key", VideoKey(), "--duration", "3", "--json"});
    VxProcess writer({"capture", "http://127.0.0.1:" + server.Port() + "/live.ts", "--key", VideoKey(),
                      "--wait-readers", "1", "--json"});
    const std::vector<double> gaps = server.Gaps();
    const VxResult recorded = recorder.Finish(20000, 0);
    const VxResult written = writer.End();
    ASSERT_EQ(gaps.size(), 3u);
    EXPECT_GE(gaps[1], 1.9); // after the first failure, two seconds; before it the clip's own time and one
    EXPECT_GE(gaps[2], 3.9);
    EXPECT_GE(ParseJson(written.out)["reconnects"].asInt(), 1) << written.err;
    EXPECT_EQ(ParseJson(recorded.out)["video"]["attached"].asInt(), 1) << recorded.err;
    EXPECT_EQ(ParseJson(recorded.out)["segments"].asInt(), 1) << recorded.err;
    EXPECT_EQ(DecodeComplaints(Path("net.mp4")), "");
}

// Catches: packets of a camera's own protocol that are cut in another way than those of files, or lost: what was
// received while the source was looked at is more than a ring holds.
TEST_F(MediaTest, AnRtspSourceIsRecordedPacketByPacket)
{
    const std::string source = ShortClip();
    const std::string address = "rtsp://127.0.0.1:" + ClosingServer({}).Port() + "/camera"; // a free port
    const std::string out = Path("rtsp.mp4");
    VxProcess recorder({"record", out, "--key", VideoKey()});
    VxProcess writer({"capture", address, "--input-option", "rtsp_flags=listen", "--key", VideoKey(),
                      "--wait-readers", "1"});
    std::string problem = "not tried";
    for (int i = 0; i < 100 && !problem.empty(); ++i) {
        ::usleep(100000); // until capture listens
        problem = Shell("ffmpeg -nostdin -v error -re -i " + source +
                        " -c copy -f rtsp -rtsp_transport tcp " + address);
    }
    EXPECT_EQ(problem, "");
    ::usleep(300000);
    const std::string said = writer.End().err + recorder.End().err;
    EXPECT_EQ(PacketHashes(out, "v", "h264"), PacketHashes(source, "v", "h264")) << said;
}

} // namespace
