// Worker processes, one per place, which are killed one after another and replaced. Each life has a number and a seed
// of its own.
#pragma once

#include <Child.h>
#include <Seed.h>

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <random>
#include <thread>
#include <utility>
#include <vector>

// The number of kills in the random tests.
inline unsigned wantedKills() {
    const char* const given = std::getenv("WDLT_KILLS");
    return given == nullptr ? 300 : static_cast<unsigned>(std::strtoul(given, nullptr, 10));
}

struct Life {
    struct Place {
        std::atomic<unsigned> rounds;
        std::atomic<unsigned> over; // the last life that has ended or is about to end
    };
    static constexpr std::size_t kMostPlaces = 64;

    std::size_t place;
    unsigned number; // counts from 1, over all places
    unsigned seed;
    Place* places;

    // Call at the end of each round: false when an expectation of this process has failed.
    bool goesOn() const {
        ++places[place].rounds;
        return !testing::Test::HasFailure();
    }
    // From now on this life may end at any moment.
    void expectEnd() const { places[place].over = number; }
    // Identifies this life in data that other processes check.
    std::uint64_t mark() const { return number * kMostPlaces + place; }
    bool isOver(std::uint64_t mark) const { return mark / kMostPlaces <= places[mark % kMostPlaces].over; }
};

class Workers {
  public:
    // Runs until its life is ended. A worker that returns by itself has found something wrong.
    using Work = std::function<void(const Life&)>;

    Workers(std::size_t places, unsigned seed, Work work) : m_random(seed), m_work(std::move(work)) {
        for (std::size_t place = 0; place < places; ++place)
            m_workers.push_back(start(place));
    }

    unsigned lives() const { return m_lives; }

    // Kills and replaces a random one; returns the number of the killed life.
    unsigned killOne() {
        const std::size_t place = m_random() % m_workers.size();
        const Life life = m_workers[place].life;
        life.expectEnd();
        replace(place, m_workers[place].process.kill());
        return life.number;
    }
    void killAtRandom(unsigned kills, std::chrono::microseconds longestPause) {
        for (unsigned i = 0; i < kills && !testing::Test::HasFailure(); ++i) {
            std::this_thread::sleep_for(longestPause * (m_random() % 1000) / 1000);
            killOne();
            if (i % 256 == 255 || i + 1 == kills)
                awaitRounds(1);
        }
    }
    // Waits until each place has made so many more rounds, so that nobody is stuck.
    void awaitRounds(unsigned more) {
        alarm(kPatience);
        std::vector<unsigned> goals;
        for (const Life::Place& place : *m_places)
            goals.push_back(place.rounds + more);
        for (std::size_t i = 0; i < m_workers.size(); ++i)
            while ((*m_places)[i].rounds < goals[i] && !testing::Test::HasFailure()) {
                replaceDead();
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        alarm(0);
    }
    // Waits for the workers to end by themselves, for work that does.
    void awaitEnd() {
        alarm(kPatience);
        for (Worker& worker : m_workers)
            EXPECT_EQ(worker.process.wait(), 0) << "life " << worker.life.number;
        m_workers.clear();
        alarm(0);
    }

  private:
    static constexpr unsigned kPatience = 100; // seconds; then the whole test ends
    struct Worker {
        Life life;
        Child process;
    };

    Worker start(std::size_t place) {
        const Life life{place, ++m_lives, static_cast<unsigned>(m_random()), m_places->data()};
        return {life, Child([&] { m_work(life); })};
    }
    void replace(std::size_t place, int status) {
        EXPECT_EQ(status, Child::kKilled) << "life " << m_workers[place].life.number << " found something wrong";
        m_workers[place] = start(place);
    }
    void replaceDead() {
        for (std::size_t place = 0; place < m_workers.size(); ++place)
            if (m_workers[place].process.hasEnded())
                replace(place, m_workers[place].process.wait());
    }

    std::mt19937 m_random;
    const Work m_work;
    unsigned m_lives = 0;
    const Shared<std::array<Life::Place, Life::kMostPlaces>> m_places;
    std::vector<Worker> m_workers;
};
