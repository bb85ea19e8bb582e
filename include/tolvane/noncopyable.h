#pragma once

namespace tolvane {

/// The mixins stand in namespaces of their own, so that deriving from one does not make the rest of
/// the library a candidate in argument-dependent lookup.
namespace nonassignable_ {

/// Base of classes that are not assigned.
class nonassignable
{
public:
    virtual ~nonassignable() = default;
    nonassignable& operator=(const nonassignable&) = delete;

protected:
    nonassignable() = default;
    nonassignable(const nonassignable&) = default;
};

} // namespace nonassignable_

namespace noncopyable_ {

/// Base of classes that are neither copied nor assigned.
class noncopyable : public nonassignable_::nonassignable
{
public:
    noncopyable(const noncopyable&) = delete;
    noncopyable& operator=(const noncopyable&) = delete;

protected:
    noncopyable() = default;
};

} // namespace noncopyable_

} // namespace tolvane
