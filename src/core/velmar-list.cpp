// Doubly linked list with head and tail sentinels.
#include "core/velmar-list.h"

#include <cstdio>
#include <cstdlib>

namespace {

bool report_null(const VELMAR_LIST *list) {
    if (list != nullptr) return false;
    std::fputs("Error: VELMAR_LIST has not been properly initialized.\n", stderr);
    return true;
}

VELMAR_LIST_NODE *new_node() {
    auto *node = static_cast<VELMAR_LIST_NODE *>(std::calloc(1, sizeof(VELMAR_LIST_NODE)));
    if (node == nullptr) std::fputs("Error: unable to allocate VELMAR_LIST_NODE.\n", stderr);
    return node;
}

// Links a new node carrying data between prev and prev->next.
void *insert_after(VELMAR_LIST *list, VELMAR_LIST_NODE *prev, void *data) {
    VELMAR_LIST_NODE *node = new_node();
    if (node == nullptr) return nullptr;
    node->data = data;
    node->prev = prev;
    node->next = prev->next;
    prev->next->prev = node;
    prev->next = node;
    list->curr = node;
    return data;
}

void *unlink(VELMAR_LIST *list, VELMAR_LIST_NODE *node) {
    node->prev->next = node->next;
    node->next->prev = node->prev;
    if (list->curr == node) list->curr = nullptr;
    void *data = node->data;
    std::free(node);
    return data;
}

}  // namespace

VELMAR_LIST *velmar_list_new(void (*func_free)(void *)) {
    auto *list = static_cast<VELMAR_LIST *>(std::calloc(1, sizeof(VELMAR_LIST)));
    if (list == nullptr) {
        std::fputs("Error: unable to allocate VELMAR_LIST.\n", stderr);
        return nullptr;
    }
    list->head = static_cast<VELMAR_LIST_NODE *>(std::calloc(1, sizeof(VELMAR_LIST_NODE)));
    if (list->head == nullptr) {
        std::fputs("Error: unable to allocate list->head.\n", stderr);
        std::free(list);
        return nullptr;
    }
    list->tail = static_cast<VELMAR_LIST_NODE *>(std::calloc(1, sizeof(VELMAR_LIST_NODE)));
    if (list->tail == nullptr) {
        std::fputs("Error: unable to allocate list->tail.\n", stderr);
        std::free(list->head);
        std::free(list);
        return nullptr;
    }
    list->head->next = list->tail;
    list->tail->prev = list->head;
    list->func_free = func_free;
    return list;
}

void velmar_list_free(VELMAR_LIST *list) {
    if (list == nullptr) return;
    VELMAR_LIST_NODE *node = list->head;
    while (node != nullptr) {
        VELMAR_LIST_NODE *next = node->next;
        if (list->func_free != nullptr) list->func_free(node->data);
        std::free(node);
        node = next;
    }
    std::free(list);
}

void velmar_list_free_ref(VELMAR_LIST *list) {
    if (list == nullptr) return;
    list->func_free = nullptr;
    velmar_list_free(list);
}

void velmar_list_empty(VELMAR_LIST *list) {
    if (report_null(list)) return;
    while (!velmar_list_is_empty(list)) {
        void *data = unlink(list, list->head->next);
        if (list->func_free != nullptr) list->func_free(data);
    }
    list->curr = nullptr;
}

bool velmar_list_is_empty(const VELMAR_LIST *list) {
    return list == nullptr || list->head->next == list->tail;
}

long velmar_list_count(VELMAR_LIST *list) {
    if (report_null(list)) return 0;
    long count = 0;
    for (list->curr = list->head->next; list->curr != list->tail; list->curr = list->curr->next) {
        ++count;
    }
    return count;
}

bool velmar_list_contain(VELMAR_LIST *list, const void *data) {
    if (report_null(list)) return false;
    for (list->curr = list->head->next; list->curr != list->tail; list->curr = list->curr->next) {
        if (list->curr->data == data) return true;
    }
    return false;
}

void *velmar_list_insert_first(VELMAR_LIST *list, void *data) {
    if (report_null(list)) return nullptr;
    return insert_after(list, list->head, data);
}

void *velmar_list_insert_last(VELMAR_LIST *list, void *data) {
    if (report_null(list)) return nullptr;
    return insert_after(list, list->tail->prev, data);
}

void *velmar_list_remove_first(VELMAR_LIST *list) {
    if (report_null(list) || velmar_list_is_empty(list)) return nullptr;
    return unlink(list, list->head->next);
}

void *velmar_list_remove_last(VELMAR_LIST *list) {
    if (report_null(list) || velmar_list_is_empty(list)) return nullptr;
    return unlink(list, list->tail->prev);
}

void *velmar_list_remove(VELMAR_LIST *list, VELMAR_LIST_NODE *node) {
    if (report_null(list) || velmar_list_is_empty(list) || node == nullptr) return nullptr;
    if (node == list->head || node == list->tail) return nullptr;
    return unlink(list, node);
}

void *velmar_list_read_first(VELMAR_LIST *list) {
    if (report_null(list)) return nullptr;
    list->curr = list->head->next;
    return list->curr->data;
}

void *velmar_list_read_last(VELMAR_LIST *list) {
    if (report_null(list)) return nullptr;
    list->curr = list->tail->prev;
    return list->curr->data;
}

long velmar_list_union(VELMAR_LIST *major, VELMAR_LIST *minor) {
    if (major == nullptr || minor == nullptr) return 0;
    if (major == minor) return 0;  // every element is already there
    long added = 0;
    for (VELMAR_LIST_NODE *node = minor->head->next; node != minor->tail; node = node->next) {
        if (velmar_list_contain(major, node->data)) continue;
        if (velmar_list_insert_first(major, node->data) == nullptr) break;
        ++added;
    }
    return added;
}

void velmar_list_print(const VELMAR_LIST *list) {
    if (list == nullptr) {
        std::printf("VELMAR_LIST: (not allocated)\n");
        return;
    }
    std::printf("VELMAR_LIST: head^");
    long number = 0;
    for (const VELMAR_LIST_NODE *node = list->head->next; node != list->tail; node = node->next) {
        std::printf("->%ld", ++number);
        if (node->data == nullptr) std::printf("^");
    }
    std::printf("->tail^\n");
}
