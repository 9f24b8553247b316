#pragma once

/// The process's entry once `main` has begun.
class KestrelApp final
{
public:
    KestrelApp() = delete;

    /// Lets the command-line tool look at the arguments first, then runs the application until it is quit. The
    /// process's exit status.
    [[nodiscard]] static int main(int argc, char* argv[]);
};
