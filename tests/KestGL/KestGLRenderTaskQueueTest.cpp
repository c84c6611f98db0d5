#include "GLTestContext.h"

#include "KestGL/KestGLRenderTaskQueue.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <string>
#include <thread>
#include <vector>

using namespace Kest;
using gl_test::GLTest;
using gl_test::ReadRgba;

namespace {

// Clears the screen to its grey level and writes every call into a journal.
class JournalTask : public KestGLRenderTask {
public:
    JournalTask(int grey, std::vector<std::string>& journal, bool* deleted = nullptr)
        : grey(grey), journal(journal), deleted(deleted)
    {
    }
    ~JournalTask() override
    {
        if (deleted != nullptr) {
            *deleted = true;
        }
    }
    int Init() override
    {
        journal.push_back(Name() + " init " + std::to_string(width) + "x" + std::to_string(height));
        return 0;
    }
    int Render(int w, int h) override
    {
        journal.push_back(Name() + " render " + std::to_string(w) + "x" + std::to_string(h) + " stored " +
                          std::to_string(width) + "x" + std::to_string(height));
        QOpenGLFunctions_3_3_Core* gl = gl_test::Functions();
        gl->glClearColor(grey / 255.0f, grey / 255.0f, grey / 255.0f, 1.0f);
        gl->glClear(GL_COLOR_BUFFER_BIT);
        return 0;
    }

private:
    std::string Name() const { return "grey" + std::to_string(grey); }

    int grey;
    std::vector<std::string>& journal;
    bool* deleted;
};

// Pushes a follow-up task into the queue it is rendered from.
class PushingTask : public KestGLRenderTask {
public:
    PushingTask(KestGLRenderTaskQueue& queue, KestGLRenderTask* next) : queue(queue), next(next) {}
    int Init() override { return 0; }
    int Render(int, int) override { return queue.PushRendTask(next); }

private:
    KestGLRenderTaskQueue& queue;
    KestGLRenderTask* next;
};

class KestGLRenderTaskQueueTest : public GLTest {};

} // namespace

TEST_F(KestGLRenderTaskQueueTest, EmptyQueueRendersNothing)
{
    KestGLRenderTaskQueue queue;
    EXPECT_EQ(0, queue.GetSize());
    EXPECT_EQ(0, queue.PopAndRender(8, 8));
    EXPECT_EQ(0, queue.PopAndRenderAndFree(8, 8));
    EXPECT_EQ(0, queue.PopAndFree());
    EXPECT_EQ(0, queue.GetSize());
    EXPECT_EQ(0, ReadRgba(1, 1).r);
}

TEST_F(KestGLRenderTaskQueueTest, PopInitsSizesThenRendersAndKeepsTheTask)
{
    std::vector<std::string> journal;
    bool deleted = false;
    JournalTask task(100, journal, &deleted);
    KestGLRenderTaskQueue queue;
    EXPECT_EQ(0, queue.PushRendTask(&task));
    EXPECT_EQ(1, queue.GetSize());
    EXPECT_EQ(0, queue.PopAndRender(32, 16));
    EXPECT_EQ(0, queue.GetSize());
    EXPECT_FALSE(deleted);
    EXPECT_EQ((std::vector<std::string>{"grey100 init 0x0", "grey100 render 32x16 stored 32x16"}), journal);
    EXPECT_EQ(100, ReadRgba(1, 1).r);
    EXPECT_EQ(0, queue.PopAndRender(32, 16));
    EXPECT_EQ(2u, journal.size());
}

TEST_F(KestGLRenderTaskQueueTest, AndFreeDeletesAfterRendering)
{
    std::vector<std::string> journal;
    bool deleted = false;
    KestGLRenderTaskQueue queue;
    queue.PushRendTask(new JournalTask(50, journal, &deleted));
    EXPECT_EQ(0, queue.PopAndRenderAndFree(4, 4));
    EXPECT_TRUE(deleted);
    EXPECT_EQ(2u, journal.size());
    EXPECT_EQ(50, ReadRgba(1, 1).r);
}

TEST_F(KestGLRenderTaskQueueTest, PopAndFreeDeletesWithoutRendering)
{
    std::vector<std::string> journal;
    bool deleted = false;
    KestGLRenderTaskQueue queue;
    queue.PushRendTask(new JournalTask(50, journal, &deleted));
    EXPECT_EQ(0, queue.PopAndFree());
    EXPECT_TRUE(deleted);
    EXPECT_TRUE(journal.empty());
    EXPECT_EQ(0, queue.GetSize());
    EXPECT_EQ(0, ReadRgba(1, 1).r);
}

TEST_F(KestGLRenderTaskQueueTest, TasksFromTwoThreadsRenderInPushOrder)
{
    std::vector<std::string> journal;
    JournalTask first(60, journal);
    JournalTask second(120, journal);
    KestGLRenderTaskQueue queue;
    std::promise<void> firstPushed;
    std::thread late([&] {
        firstPushed.get_future().wait();
        queue.PushRendTask(&second);
    });
    std::thread early([&] {
        queue.PushRendTask(&first);
        firstPushed.set_value();
    });
    early.join();
    late.join();
    ASSERT_EQ(2, queue.GetSize());
    queue.PopAndRender(8, 8);
    EXPECT_EQ(60, ReadRgba(1, 1).r);
    queue.PopAndRender(8, 8);
    EXPECT_EQ(120, ReadRgba(1, 1).r);
    ASSERT_EQ(4u, journal.size());
    EXPECT_EQ("grey60 init 0x0", journal[0]);
    EXPECT_EQ("grey120 init 0x0", journal[2]);
}

TEST_F(KestGLRenderTaskQueueTest, TaskMayPushWhileRenderingBecauseTheLockIsFree)
{
    std::vector<std::string> journal;
    JournalTask next(30, journal);
    KestGLRenderTaskQueue queue;
    PushingTask pusher(queue, &next);
    queue.PushRendTask(&pusher);
    // A render under the queue's lock would never return.
    auto done = std::async(std::launch::async, [&] { return queue.PopAndRender(8, 8); });
    if (done.wait_for(std::chrono::seconds(20)) != std::future_status::ready) {
        fprintf(stderr, "PopAndRender held the queue's lock while rendering\n");
        std::_Exit(1);
    }
    EXPECT_EQ(0, done.get());
    EXPECT_EQ(1, queue.GetSize());
}
