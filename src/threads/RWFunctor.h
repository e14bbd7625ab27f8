// Functors: handles to calls that can be stored, copied and passed on. Copies share the call. An
// unset functor converts to false, and calling it throws RWTHRInvalidPointer. Exceptions of the
// call pass through the functor.
#pragma once

#include <concepts>
#include <utility>

#include "threads/RWBodyBase.h"

namespace orla {

/// A call without arguments.
class RWFunctor0 {
 public:
  RWFunctor0() = default;
  /// From anything that can be called without arguments. The functor stores a copy.
  template <std::invocable Call>
  requires(!std::same_as<Call, RWFunctor0>) RWFunctor0(Call call)
      : body_(new CallImp<Call>(std::move(call))) {}

  explicit operator bool() const noexcept { return static_cast<bool>(body_); }
  void operator()() const { bodyOf(body_).run(); }

 private:
  class Imp : public RWBodyBase {
   public:
    virtual void run() = 0;
  };

  template <class Call>
  class CallImp : public Imp {
   public:
    explicit CallImp(Call call) : call_(std::move(call)) {}
    void run() override { call_(); }

   private:
    Call call_;
  };

  RWTHandle<Imp> body_;
};

/// The body of an RWTFunctor1.
template <class S1>
class RWTFunctor1Imp : public RWBodyBase {
 public:
  virtual void run(S1 argument) = 0;
};

/// A call with one argument.
template <class S1>
class RWTFunctor1 {
 public:
  RWTFunctor1() = default;
  /// Adds a reference to `body`, which may be null.
  explicit RWTFunctor1(RWTFunctor1Imp<S1>* body) : body_(body) {}

  explicit operator bool() const noexcept { return static_cast<bool>(body_); }
  void operator()(S1 argument) const { bodyOf(body_).run(std::forward<S1>(argument)); }

 private:
  RWTHandle<RWTFunctor1Imp<S1>> body_;
};

/// Calls a global function with the functor's argument and a second argument, which is bound when
/// the body is created. Ignores the function's result.
template <class S1, class DR, class D1, class A1>
class RWTFunctor1GA1Imp : public RWTFunctor1Imp<S1> {
 public:
  using Function = DR (*)(D1, A1);

  RWTFunctor1GA1Imp(Function function, A1 bound)
      : function_(function), bound_(std::forward<A1>(bound)) {}
  void run(S1 argument) override { function_(std::forward<S1>(argument), bound_); }

 private:
  Function function_;
  A1 bound_;
};

}  // namespace orla
