// A value or the reason there is none: what the tools' readers of text and bytes answer.
#pragma once

#include <string>
#include <utility>
#include <variant>

namespace ofa::tools {

template <class T>
class Result {
 public:
  Result(T value) : v_(std::move(value)) {}  // NOLINT: implicit on purpose
  static Result fail(std::string reason) { return Result(Failure{std::move(reason)}); }
  bool ok() const { return v_.index() == 0; }
  T& value() { return std::get<0>(v_); }
  const T& value() const { return std::get<0>(v_); }
  const std::string& error() const { return std::get<1>(v_).reason; }

 private:
  struct Failure {
    std::string reason;
  };
  explicit Result(Failure f) : v_(std::move(f)) {}
  std::variant<T, Failure> v_;
};

}  // namespace ofa::tools
