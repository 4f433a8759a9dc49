// PyRef: the owning handle of one Python object reference.
//
// Every C-API result that script/ keeps for longer than one expression goes
// into a PyRef, made by PyRef::steal (a new reference the handle now owns) or
// PyRef::borrow (a borrowed reference; the handle adds one of its own). The
// handle drops its reference when it goes away. Only script/ includes this
// header: it is the one place that sees the Python C-API.
//
// All use belongs on the thread that runs Python.
#pragma once

#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include <utility>

class PyRef {
public:
    PyRef() = default;

    // Takes over a new reference (may be null).
    static PyRef steal(PyObject* object) { return PyRef(object); }
    // Adds a reference to a borrowed object (may be null).
    static PyRef borrow(PyObject* object)
    {
        Py_XINCREF(object);
        return PyRef(object);
    }

    // Adds a reference.
    PyRef(const PyRef& other) : object_(other.object_) { Py_XINCREF(object_); }
    // Takes over the other's reference.
    PyRef(PyRef&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    PyRef& operator=(PyRef other) noexcept
    {
        std::swap(object_, other.object_);
        return *this;
    }
    // Drops the reference.
    ~PyRef() { Py_XDECREF(object_); }

    // Borrowed: the handle keeps its reference.
    PyObject* get() const { return object_; }
    // Gives the reference to the caller (a new reference for it); the handle
    // is null afterwards.
    PyObject* release() { return std::exchange(object_, nullptr); }
    // Drops the reference; the handle is null afterwards.
    void reset() { PyRef().swap(*this); }
    void swap(PyRef& other) noexcept { std::swap(object_, other.object_); }

    explicit operator bool() const { return object_ != nullptr; }

private:
    explicit PyRef(PyObject* object) : object_(object) {}

    PyObject* object_ = nullptr;
};
