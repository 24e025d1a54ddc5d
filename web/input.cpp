// SPDX-License-Identifier: MIT
//
// Standard input of the WebAssembly builds: text that JavaScript hands over. The engine's main
// thread sleeps until there is some.

#include <condition_variable>
#include <iostream>
#include <mutex>
#include <streambuf>
#include <string>
#include <string_view>
#include <utility>

#include "global.h"

namespace
{

/// What was handed over and has not been read.
class handedText : public std::streambuf
{
  public:
    handedText() { std::cin.rdbuf(this); }

    void add(std::string_view text)
    {
        const std::lock_guard<std::mutex> lock(mtx);
        waiting += text;
        changed.notify_one();
    }

  protected:
    int_type underflow() override
    {
        std::unique_lock<std::mutex> lock(mtx);
        changed.wait(lock, [this] { return !waiting.empty(); });
        reading = std::exchange(waiting, {});
        setg(reading.data(), reading.data(), reading.data() + reading.size());
        return traits_type::to_int_type(reading[0]);
    }

  private:
    std::mutex mtx; // guards `waiting`
    std::condition_variable changed;
    std::string waiting;
    std::string reading;
};

handedText theInput;

} // namespace

/// Hands over bytes, which are copied; lines end with '\n'.
extern "C" void quillonInput(const char* bytes, int count)
{
    theInput.add({bytes, static_cast<size_t>(count)});
}

/// Sets the size of the first table, in MB, before main() makes it, so that a browser need not find
/// the memory for the default size first.
extern "C" void quillonHash(int megabytes)
{
    engine.hashSizeMB = megabytes;
}
