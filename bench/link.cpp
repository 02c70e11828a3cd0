// A slow network in a program: carries packets between two TUN devices and delays each by the same time, like a line
// of that length; on request it also limits the rate and drops a share of the packets.
//
//   link DESCRIPTOR DESCRIPTOR DELAY_MS [RATE_MBIT [LOSS_PERCENT]]
//
// The descriptors are open TUN devices, inherited. The delay is one way. A rate of 0 is no limit. Which packets are
// lost is the same in every run. Ends with standard input.

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <random>
#include <string>

#include <poll.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

struct Settings {
  Clock::duration delay{};
  double bytesPerSecond = 0;  // 0: no limit
  double loss = 0;            // share, 0 to 1
};

class Direction {
 public:
  Direction(int from, int to, const Settings& settings, unsigned seed)
      : from_(from), to_(to), settings_(settings), random_(seed) {}

  int source() const { return from_; }

  void receive() {
    std::array<char, 65536> buffer;
    for (int packet = 0; packet < 64; ++packet) {
      const ssize_t size = read(from_, buffer.data(), buffer.size());
      if (size <= 0) return;
      take(std::string(buffer.data(), static_cast<std::size_t>(size)));
    }
  }

  void deliverDue() {
    const auto now = Clock::now();
    while (!underWay_.empty() && underWay_.front().arrival <= now) {
      const std::string& bytes = underWay_.front().bytes;
      // A device without room drops the packet, as a router would.
      [[maybe_unused]] const ssize_t written = write(to_, bytes.data(), bytes.size());
      underWay_.pop_front();
    }
  }

  Clock::time_point nextArrival() const {
    return underWay_.empty() ? Clock::time_point::max() : underWay_.front().arrival;
  }

 private:
  struct Packet {
    Clock::time_point arrival;
    std::string bytes;
  };

  void take(std::string bytes) {
    // What a router keeps for a line: about as much as is under way on it, and never little.
    constexpr std::size_t longestQueue = 1000;
    if (settings_.loss > 0 && std::bernoulli_distribution(settings_.loss)(random_)) return;
    auto sent = Clock::now();
    if (settings_.bytesPerSecond > 0) {
      const auto waiting = std::ranges::count_if(
          underWay_, [&](const Packet& packet) { return packet.arrival - settings_.delay > sent; });
      if (static_cast<std::size_t>(waiting) >= longestQueue) return;
      lineFree_ = std::max(lineFree_, sent) + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(
                                                  static_cast<double>(bytes.size()) / settings_.bytesPerSecond));
      sent = lineFree_;
    }
    underWay_.push_back({sent + settings_.delay, std::move(bytes)});
  }

  int from_;
  int to_;
  const Settings& settings_;
  std::mt19937 random_;
  std::deque<Packet> underWay_;
  Clock::time_point lineFree_{};
};

void carry(std::array<Direction, 2>& directions) {
  std::array<pollfd, 3> watched{
      {{directions[0].source(), POLLIN, 0}, {directions[1].source(), POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}}};
  while (true) {
    const auto next = std::min(directions[0].nextArrival(), directions[1].nextArrival());
    timespec wait{};
    if (next != Clock::time_point::max()) {
      const auto left = std::max(std::chrono::duration_cast<std::chrono::nanoseconds>(next - Clock::now()).count(), 0L);
      wait = {left / 1000000000, left % 1000000000};
    }
    const timespec* const limit = next == Clock::time_point::max() ? nullptr : &wait;
    if (ppoll(watched.data(), watched.size(), limit, nullptr) < 0 && errno != EINTR) return;
    if (watched[2].revents != 0) return;
    for (std::size_t i = 0; i < directions.size(); ++i) {
      if (watched[i].revents & POLLIN) directions[i].receive();
      directions[i].deliverDue();
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) {
    std::fputs("usage: link DESCRIPTOR DESCRIPTOR DELAY_MS [RATE_MBIT [LOSS_PERCENT]]\n", stderr);
    return 2;
  }
  Settings settings;
  settings.delay =
      std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double, std::milli>(std::atof(argv[3])));
  if (argc > 4) settings.bytesPerSecond = std::atof(argv[4]) * 1e6 / 8;
  if (argc > 5) settings.loss = std::atof(argv[5]) / 100;
  prctl(PR_SET_TIMERSLACK, 1UL);
  const int one = std::atoi(argv[1]);
  const int other = std::atoi(argv[2]);
  std::array<Direction, 2> directions{Direction(one, other, settings, 1), Direction(other, one, settings, 2)};
  carry(directions);
}
