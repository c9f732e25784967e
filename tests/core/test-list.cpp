// Linked list: stack and queue order, set union, ownership of the data, and the print.
#include "core/velmar-list.h"

#include <gtest/gtest.h>

#include <vector>

#include "core/velmar.h"
#include "support/support.h"

namespace {

using List = velmar::Owned<VELMAR_LIST, velmar_list_free>;
using velmar_test::capture;

TEST(List, StackIsLastInFirstOutAndQueueFirstInFirstOut) {
    int a = 1;
    int b = 2;
    int c = 3;
    List stack(velmar_list_new(nullptr));
    ASSERT_NE(stack, nullptr);
    EXPECT_TRUE(velmar_list_is_empty(stack.get()));
    EXPECT_EQ(velmar_list_pop(stack.get()), nullptr);  // empty: nothing, nothing changes
    EXPECT_EQ(velmar_list_top(stack.get()), nullptr);
    velmar_list_push(stack.get(), &a);
    velmar_list_push(stack.get(), &b);
    EXPECT_EQ(velmar_list_top(stack.get()), &b);
    EXPECT_EQ(velmar_list_pop(stack.get()), &b);
    EXPECT_EQ(velmar_list_pop(stack.get()), &a);
    EXPECT_TRUE(velmar_list_is_empty(stack.get()));

    List queue(velmar_list_new(nullptr));
    EXPECT_EQ(velmar_list_dequeue(queue.get()), nullptr);
    velmar_list_enqueue(queue.get(), &a);
    velmar_list_enqueue(queue.get(), &b);
    velmar_list_enqueue(queue.get(), &c);
    EXPECT_EQ(velmar_list_front(queue.get()), &a);
    EXPECT_EQ(velmar_list_dequeue(queue.get()), &a);
    EXPECT_EQ(velmar_list_dequeue(queue.get()), &b);
    EXPECT_EQ(velmar_list_count(queue.get()), 1);

    // append and remove_last work at the same end; remove takes any node.
    velmar_list_append(queue.get(), &a);
    velmar_list_prepend(queue.get(), &b);
    EXPECT_EQ(velmar_list_read_last(queue.get()), &a);
    EXPECT_EQ(velmar_list_remove(queue.get(), queue->head->next->next), &c);
    EXPECT_EQ(velmar_list_remove(queue.get(), nullptr), nullptr);
    EXPECT_EQ(velmar_list_remove_first(queue.get()), &b);
    EXPECT_EQ(velmar_list_remove_last(queue.get()), &a);
    EXPECT_TRUE(velmar_list_is_empty(queue.get()));
}

TEST(List, UnionAddsOnlyNewElementsAtTheFront) {
    int v[5] = {0, 1, 2, 3, 4};
    List major(velmar_list_new(nullptr));
    List minor(velmar_list_new(nullptr));
    velmar_list_append(major.get(), &v[0]);
    velmar_list_append(major.get(), &v[1]);
    velmar_list_append(minor.get(), &v[1]);
    velmar_list_append(minor.get(), &v[2]);
    velmar_list_append(minor.get(), &v[3]);
    EXPECT_EQ(velmar_list_union(major.get(), minor.get()), 2);
    // Pushed at the front in minor's order, so the last pushed is first.
    std::vector<int *> order;
    while (!velmar_list_is_empty(major.get()))
        order.push_back(static_cast<int *>(velmar_list_pop(major.get())));
    EXPECT_EQ(order, (std::vector<int *>{&v[3], &v[2], &v[0], &v[1]}));
    EXPECT_EQ(velmar_list_count(minor.get()), 3);  // unchanged
    EXPECT_EQ(velmar_list_union(minor.get(), minor.get()), 0);
    EXPECT_EQ(velmar_list_count(minor.get()), 3);
    EXPECT_EQ(velmar_list_union(nullptr, minor.get()), 0);
    EXPECT_TRUE(velmar_list_contain(minor.get(), &v[2]));
    EXPECT_FALSE(velmar_list_contain(minor.get(), &v[4]));
}

std::vector<void *> g_released;  // what the release function was handed, in order
void record_release(void *data) {
    g_released.push_back(data);
    delete static_cast<int *>(data);
}

TEST(List, ReleasesOwnedDataOnceAndSentinelsAsNull) {
    g_released.clear();
    VELMAR_LIST *list = velmar_list_new(record_release);
    int *x = new int(1);
    int *y = new int(2);
    velmar_list_append(list, x);
    velmar_list_append(list, y);
    velmar_list_free(list);
    EXPECT_EQ(g_released, (std::vector<void *>{nullptr, x, y, nullptr}));

    g_released.clear();
    List emptied(velmar_list_new(record_release));
    velmar_list_append(emptied.get(), new int(3));
    velmar_list_empty(emptied.get());
    EXPECT_EQ(g_released.size(), 1u);
    EXPECT_TRUE(velmar_list_is_empty(emptied.get()));

    // free_ref leaves the data alone.
    g_released.clear();
    int kept = 4;
    VELMAR_LIST *refs = velmar_list_new(record_release);
    velmar_list_append(refs, &kept);
    velmar_list_free_ref(refs);
    EXPECT_TRUE(g_released.empty());
}

TEST(List, PrintAndNullList) {
    int a = 0;
    List list(velmar_list_new(nullptr));
    EXPECT_EQ(capture([&] { velmar_list_print(list.get()); }).out, "VELMAR_LIST: head^->tail^\n");
    velmar_list_append(list.get(), &a);
    velmar_list_append(list.get(), &a);
    EXPECT_EQ(capture([&] { velmar_list_print(list.get()); }).out,
              "VELMAR_LIST: head^->1->2->tail^\n");
    EXPECT_EQ(capture([] { velmar_list_print(nullptr); }).out, "VELMAR_LIST: (not allocated)\n");
    const auto printed = capture([&] { EXPECT_EQ(velmar_list_push(nullptr, &a), nullptr); });
    EXPECT_EQ(printed.err, "Error: VELMAR_LIST has not been properly initialized.\n");
}

}  // namespace
