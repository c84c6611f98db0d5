#ifndef KEST_GL_KESTLINKEDLIST_H
#define KEST_GL_KESTLINKEDLIST_H

namespace Kest {

// A singly linked list whose head node always exists: the first value is
// written into the head, later ones are appended at the tail. Iterates in
// insertion order.
template <typename T>
class KestLinkedList {
private:
    struct Node {
        T value;
        Node* next;
    };

public:
    class Iterator {
    public:
        explicit Iterator(Node* node) : node(node) {}
        T& operator*() const { return node->value; }
        Iterator& operator++()
        {
            node = node->next;
            return *this;
        }
        bool operator!=(const Iterator& other) const { return node != other.node; }

    private:
        Node* node;
    };

    KestLinkedList() : head(new Node{T(), nullptr}), count(0) {}
    ~KestLinkedList()
    {
        Clear();
        delete head;
    }

    KestLinkedList(const KestLinkedList&) = delete;
    KestLinkedList& operator=(const KestLinkedList&) = delete;

    int Add(const T& value)
    {
        if (count == 0) {
            head->value = value;
        } else {
            Node* tail = head;
            while (tail->next != nullptr) {
                tail = tail->next;
            }
            tail->next = new Node{value, nullptr};
        }
        count++;
        return 0;
    }

    // Drops every value; the head node stays for the next Add.
    int Clear()
    {
        Node* node = head->next;
        while (node != nullptr) {
            Node* next = node->next;
            delete node;
            node = next;
        }
        head->next = nullptr;
        count = 0;
        return 0;
    }

    int GetCount() const { return count; }

    Iterator begin() const { return Iterator(count == 0 ? nullptr : head); }
    Iterator end() const { return Iterator(nullptr); }

private:
    Node* head;
    int count;
};

} // namespace Kest

#endif
