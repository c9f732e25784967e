// Doubly linked list of untyped data pointers between two sentinel nodes, used as a stack, a queue
// and a small set by the landscape analyses. The list owns its nodes; it owns its data only when it
// was created with a release function, which is then also called with NULL for the sentinels.
#ifndef VELMAR_LIST_H
#define VELMAR_LIST_H

struct VELMAR_LIST_NODE {
    VELMAR_LIST_NODE *next;  // following node, NULL only after the tail sentinel
    VELMAR_LIST_NODE *prev;  // preceding node, NULL only before the head sentinel
    void *data;              // the element, NULL in the sentinels
};

struct VELMAR_LIST {
    VELMAR_LIST_NODE *head;     // head sentinel, owned; the first element is head->next
    VELMAR_LIST_NODE *tail;     // tail sentinel, owned; the last element is tail->prev
    VELMAR_LIST_NODE *curr;     // cursor: the node most recently inserted, visited or read
    void (*func_free)(void *);  // releases one element's data; NULL when the list only refers
};

// An empty list; func_free may be NULL. NULL on failure.
VELMAR_LIST *velmar_list_new(void (*func_free)(void *));
// Frees every node, releasing the data with func_free when it is set; NULL is ignored.
void velmar_list_free(VELMAR_LIST *list);
// Frees the nodes but never the data.
void velmar_list_free_ref(VELMAR_LIST *list);
// Removes every element (releasing data with func_free when set); the list stays usable.
void velmar_list_empty(VELMAR_LIST *list);
bool velmar_list_is_empty(const VELMAR_LIST *list);
long velmar_list_count(VELMAR_LIST *list);
// True when some element is the same pointer as data.
bool velmar_list_contain(VELMAR_LIST *list, const void *data);
// Insert at the front or the back; returns data, or NULL on failure. Never insert NULL data.
void *velmar_list_insert_first(VELMAR_LIST *list, void *data);
void *velmar_list_insert_last(VELMAR_LIST *list, void *data);
// Unlink an element and return its data (never released); NULL when there is none.
void *velmar_list_remove_first(VELMAR_LIST *list);
void *velmar_list_remove_last(VELMAR_LIST *list);
void *velmar_list_remove(VELMAR_LIST *list, VELMAR_LIST_NODE *node);
// The data of the first or last element without removing it; NULL when empty.
void *velmar_list_read_first(VELMAR_LIST *list);
void *velmar_list_read_last(VELMAR_LIST *list);
// Pushes onto the front of major every element of minor that major does not yet contain, in
// minor's order. Returns how many were added.
long velmar_list_union(VELMAR_LIST *major, VELMAR_LIST *minor);
void velmar_list_print(const VELMAR_LIST *list);

// Stack: grows and shrinks at the front.
inline void *velmar_list_push(VELMAR_LIST *list, void *data) {
    return velmar_list_insert_first(list, data);
}
inline void *velmar_list_pop(VELMAR_LIST *list) { return velmar_list_remove_first(list); }
inline void *velmar_list_top(VELMAR_LIST *list) { return velmar_list_read_first(list); }
// Queue: joins at the front, leaves at the end (first in, first out).
inline void *velmar_list_enqueue(VELMAR_LIST *list, void *data) {
    return velmar_list_insert_first(list, data);
}
inline void *velmar_list_dequeue(VELMAR_LIST *list) { return velmar_list_remove_last(list); }
inline void *velmar_list_front(VELMAR_LIST *list) { return velmar_list_read_last(list); }
inline void *velmar_list_prepend(VELMAR_LIST *list, void *data) {
    return velmar_list_insert_first(list, data);
}
inline void *velmar_list_append(VELMAR_LIST *list, void *data) {
    return velmar_list_insert_last(list, data);
}

#endif  // VELMAR_LIST_H
