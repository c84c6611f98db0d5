#include "core/KestObserverQueue.h"
#include "core/KestSubject.h"
#include "core/KestThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

using namespace Kest;

namespace {

// A worker that polls for stop and serves event loops, like the log thread.
class PollingThread : public KestThread {
public:
    ~PollingThread() override { Stop(); }

    int Run() override
    {
        runs++;
        while (stopFlag == 0) {
            EventLoop();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return 0;
    }

    int BeforeStop() override
    {
        beforeStopSawFlag = stopFlag.load();
        return 0;
    }

    int EventLoopNow() { return EventLoop(); }
    int StopFlag() const { return stopFlag.load(); }
    int EventLoopRequested() const { return eventLoopFlag.load(); }

    std::atomic<int> runs{0};
    std::atomic<int> beforeStopSawFlag{-1};
};

class RecordingRunnable : public KestRunnable {
public:
    RecordingRunnable(std::vector<std::string>& log, std::string name) : log(log), name(std::move(name)) {}
    int Run() override
    {
        log.push_back(name);
        return 0;
    }

private:
    std::vector<std::string>& log;
    std::string name;
};

class CountingObserver : public KestObserver {
public:
    CountingObserver(std::vector<int>& order, int id) : order(order), id(id) {}
    int Update() override
    {
        order.push_back(id);
        return 0;
    }

private:
    std::vector<int>& order;
    int id;
};

} // namespace

TEST(KestThread, StartTwiceAndStopTwice)
{
    PollingThread thread;
    EXPECT_EQ(-1, thread.Stop());
    EXPECT_EQ(0, thread.Start());
    EXPECT_EQ(-1, thread.Start());
    EXPECT_EQ(0, thread.Stop());
    EXPECT_EQ(-1, thread.Stop());
    EXPECT_EQ(1, thread.runs.load());
}

TEST(KestThread, StopSetsTheFlagBeforeBeforeStopAndClearsItAfter)
{
    PollingThread thread;
    ASSERT_EQ(0, thread.Start());
    ASSERT_EQ(0, thread.Stop());
    EXPECT_EQ(1, thread.beforeStopSawFlag.load());
    EXPECT_EQ(0, thread.StopFlag());
}

TEST(KestThread, CanBeRestartedAfterStop)
{
    PollingThread thread;
    ASSERT_EQ(0, thread.Start());
    ASSERT_EQ(0, thread.Stop());
    ASSERT_EQ(0, thread.Start());
    ASSERT_EQ(0, thread.Stop());
    EXPECT_EQ(2, thread.runs.load());
}

TEST(KestThread, EventLoopWithoutRequestReturnsMinusOne)
{
    PollingThread thread;
    EXPECT_EQ(-1, thread.EventLoopNow());
}

TEST(KestThread, EventLoopRunsQueuedRunnablesInOrderSkippingNull)
{
    PollingThread thread;
    std::vector<std::string> log;
    RecordingRunnable first(log, "first");
    RecordingRunnable second(log, "second");
    thread.PushEvent(&first);
    thread.PushEvent(nullptr);
    thread.PushEvent(&second);
    ASSERT_EQ(0, thread.Start());
    EXPECT_EQ(0, thread.StartEventLoop());
    EXPECT_EQ(0, thread.StopEventLoop());
    EXPECT_EQ((std::vector<std::string>{"first", "second"}), log);
}

TEST(KestThread, StartEventLoopWaitsUntilTheWorkerIsInTheLoop)
{
    PollingThread thread;
    std::atomic<bool> workerStarted{false};
    auto waiting = std::async(std::launch::async, [&] {
        thread.StartEventLoop();
        // Only a worker in the loop lets the request return.
        return workerStarted.load();
    });
    // The request is made while nobody serves the loop yet.
    while (thread.EventLoopRequested() == 0) {
        std::this_thread::yield();
    }
    EXPECT_NE(std::future_status::ready, waiting.wait_for(std::chrono::seconds(0)));
    workerStarted = true;
    ASSERT_EQ(0, thread.Start());
    ASSERT_EQ(std::future_status::ready, waiting.wait_for(std::chrono::seconds(5)));
    EXPECT_TRUE(waiting.get());
    EXPECT_EQ(0, thread.StopEventLoop());
}

TEST(KestSubject, NotifiesInInsertionOrderAndRemovesEveryCopy)
{
    std::vector<int> order;
    CountingObserver a(order, 1);
    CountingObserver b(order, 2);
    KestSubject subject;
    subject.AddObserver(&a);
    subject.AddObserver(&b);
    subject.AddObserver(&a);
    EXPECT_EQ(0, subject.NotifyObserver());
    EXPECT_EQ((std::vector<int>{1, 2, 1}), order);

    order.clear();
    EXPECT_EQ(0, subject.RemoveObserver(&a));
    subject.NotifyObserver();
    EXPECT_EQ((std::vector<int>{2}), order);
}

TEST(KestObserverQueue, FifoWithNotificationOnPushAndPop)
{
    std::vector<int> order;
    CountingObserver observer(order, 7);
    KestObserverQueue<int> queue;
    queue.AddObserver(&observer);

    int value = 0;
    EXPECT_EQ(-1, queue.FrontPop(value));
    EXPECT_TRUE(order.empty());

    int one = 1;
    int two = 2;
    queue.Push(one);
    queue.Push(two);
    EXPECT_EQ(2, queue.Size());
    EXPECT_EQ(2u, order.size());

    EXPECT_EQ(0, queue.FrontPop(value));
    EXPECT_EQ(1, value);
    EXPECT_EQ(0, queue.FrontPop(value));
    EXPECT_EQ(2, value);
    EXPECT_EQ(0, queue.Size());
    EXPECT_EQ(4u, order.size());
}

TEST(KestObserverQueue, ManyProducersLoseNothing)
{
    KestObserverQueue<int> queue;
    std::vector<std::thread> producers;
    for (int t = 0; t < 4; t++) {
        producers.emplace_back([&queue, t] {
            for (int i = 0; i < 10000; i++) {
                int value = t * 100000 + i;
                queue.Push(value);
            }
        });
    }
    for (auto& producer : producers) {
        producer.join();
    }
    std::vector<int> next(4, 0);
    int value = 0;
    while (queue.FrontPop(value) == 0) {
        const int t = value / 100000;
        ASSERT_EQ(next[t], value % 100000);
        next[t]++;
    }
    EXPECT_EQ((std::vector<int>{10000, 10000, 10000, 10000}), next);
}
