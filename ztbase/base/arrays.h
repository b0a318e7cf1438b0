// The library's arrays: ZtArray (a growable value array), CUniqueArray (each value at most once) and
// ZtRefArray (an array that is also a shareable body, the type in which lists of names are returned).
#pragma once

#include <memory>
#include <vector>

#include "ztbase/base/handle.h"

namespace ZtBase {

template <class T, class Alloc = std::allocator<T>>
class ZtArray : public std::vector<T, Alloc> {
    using Base = std::vector<T, Alloc>;

public:
    using Base::Base;

    unsigned int GetLength() const noexcept { return static_cast<unsigned int>(this->size()); }

    // Reads and writes through an index check it: an index not below the length raises
    // std::out_of_range.
    T& operator[](unsigned int i) { return this->at(i); }
    const T& operator[](unsigned int i) const { return this->at(i); }
    T& GetElementIdx(unsigned int i) { return this->at(i); }
    const T& GetElementIdx(unsigned int i) const { return this->at(i); }

    void AddElement(const T& value) { this->push_back(value); }

    // Beyond the end the array first grows with default (zero) elements; i == length appends.
    void InsertElement(unsigned int i, const T& value) {
        if (i > this->size()) this->resize(i);
        this->insert(this->begin() + i, value);
    }
    void SetElementIdx(unsigned int i, const T& value) {
        if (i < this->size()) {
            Base::operator[](i) = value;
        } else {
            this->resize(static_cast<std::size_t>(i) + 1);
            this->back() = value;
        }
    }
    // An index not below the length is ignored.
    void DeleteElement(unsigned int i) {
        if (i < this->size()) this->erase(this->begin() + i);
    }
    int FindValue(const T& value) const {
        for (std::size_t i = 0; i < this->size(); ++i)
            if (Base::operator[](i) == value) return static_cast<int>(i);
        return -1;
    }
    void Truncate(unsigned int n) {
        if (n < this->size()) this->resize(n);
    }
    void Reset() { this->clear(); }
};

template <class T>
class CUniqueArray : public ZtArray<T> {
public:
    using ZtArray<T>::ZtArray;

    void AddElementUnique(T value) {
        if (this->FindValue(value) < 0) this->push_back(std::move(value));
    }
    void RemoveElement(T value) {
        int i = this->FindValue(value);
        if (i >= 0) this->erase(this->begin() + i);
    }
};

// A reference-counted array. Duplicate copies every element and, through the member-wise copy of
// CRepBase, the source's count as well; the caller that duplicates sets the count as it needs.
template <class T, class Alloc = std::allocator<T>>
class ZtRefArray : public std::vector<T, Alloc>, public CBodyBase {
public:
    using std::vector<T, Alloc>::vector;
    ZtRefArray() = default;
    ZtRefArray(const ZtRefArray&) = default;
    ZtRefArray& operator=(const ZtRefArray&) = default;

    CBodyBase* Duplicate() const override { return new (std::nothrow) ZtRefArray(*this); }
    unsigned int GetLength() const noexcept { return static_cast<unsigned int>(this->size()); }
};

}  // namespace ZtBase
