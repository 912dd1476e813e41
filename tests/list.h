// Arrays without a heap, so that the families and their long run also work where there is none.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <initializer_list>

// At most `capacity` elements.
template <class T, size_t capacity>
class List {
  public:
    List() = default;
    List(std::initializer_list<T> elements) {
        for (const T& element : elements) {
            push_back(element);
        }
    }
    void push_back(const T& element) {
        if (size_ == capacity) {
            std::abort();
        }
        elements_[size_++] = element;
    }
    size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    T& operator[](size_t i) { return elements_[i]; }
    const T& operator[](size_t i) const { return elements_[i]; }
    const T* begin() const { return elements_; }
    const T* end() const { return elements_ + size_; }

  private:
    T elements_[capacity]{};
    size_t size_ = 0;
};

// `length` doubles, zero at first. They lie at the end of their array, so that the address sanitizer sees a
// write beyond them.
class Samples {
  public:
    static constexpr int32_t longest = 1024;

    explicit Samples(int32_t length) : begin_(longest - length) {
        if (length < 0 || length > longest) {
            std::abort();
        }
        std::fill(data(), values_ + longest, 0.0);
    }
    double* data() { return values_ + begin_; }
    double& operator[](int32_t i) { return data()[i]; }

  private:
    int32_t begin_;
    double values_[longest];
};
