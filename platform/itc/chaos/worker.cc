#include "worker.h"

#include "player.h"

#include <itc.h>

#include <chrono>
#include <cstdlib>
#include <thread>
#include <vector>

namespace ItcChaos {

namespace {

constexpr std::uint32_t kAnswerMe = 1;
constexpr std::uint32_t kEnd = 2;
constexpr int kAnswers = 2;
constexpr std::uint32_t kLong = 60'000;

void playAll(const World& world, unsigned worker, unsigned life) {
    std::vector<std::thread> threads;
    for (unsigned player = 0; player < world.players; ++player) {
        threads.emplace_back(
            [&world, worker, player, life] { Player(world, worker, player, life).run(); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace

void letGoOfTheDead() {
    itc_msg* message = itc_alloc(sizeof(itc_msg), kAnswerMe);
    itc_send(&message, itc_locate(kLastName), ITC_OWN_MAILBOX);
    for (int answer = 0; answer < kAnswers; ++answer) {
        message = itc_receive(nullptr, kLong, ITC_ANY_SENDER);
        if (message == nullptr) {
            failed("the last process does not answer");
        }
        itc_free(&message);
    }
}

void liveAsLast() {
    itc_create_mailbox(kLastName, 0);
    for (;;) {
        itc_msg* message = itc_receive(nullptr, ITC_WAIT_FOREVER, ITC_ANY_SENDER);
        if (message == nullptr || message->msgno == kEnd) {
            exit(EXIT_SUCCESS);
        }
        for (int answer = 0; answer < kAnswers; ++answer) {
            itc_msg* large = itc_alloc(itc_get_max_size(), 0);
            itc_send(&large, itc_sender(message), ITC_OWN_MAILBOX);
        }
        itc_free(&message);
    }
}

void dismissLast() {
    itc_msg* message = itc_alloc(sizeof(itc_msg), kEnd);
    itc_send(&message, itc_locate(kLastName), ITC_OWN_MAILBOX);
}

void liveAsWorker(const World& world, unsigned worker, unsigned life) {
    if (worker != kSurvivor) {
        playAll(world, worker, life);
        exit(EXIT_SUCCESS);
    }
    livingMailboxes();  // joins the domain and allocates what is allocated once
    const itc_mbox_id_t mailbox = itc_create_mailbox(nullptr, 0);
    count(world.board->before, mailbox);
    itc_delete_mailbox(mailbox);
    playAll(world, worker, life);
    while (world.board->phase != kCountLeaks) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    const itc_mbox_id_t last = itc_create_mailbox(nullptr, 0);
    letGoOfTheDead();
    count(world.board->after, last);
    exit(EXIT_SUCCESS);
}

}  // namespace ItcChaos
