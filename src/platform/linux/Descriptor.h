// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <unistd.h>

#include <utility>

namespace corvanta {

/// A descriptor that is closed at the end; negative is none.
class Descriptor {
  public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() { reset(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int number() const { return number_; }
    void reset() {
        if (number_ >= 0) close(std::exchange(number_, -1));
    }

  private:
    int number_;
};

}  // namespace corvanta
