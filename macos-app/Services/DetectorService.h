#pragma once

#include "Models/DetectorPayload.h"
#include "Models/FadeRemovalStrategy.h"
#include "Services/RuntimeConfiguration.h"

#include <QStringList>

#include <atomic>
#include <exception>
#include <functional>
#include <memory>
#include <variant>

/// What a detector is asked. Seconds; negative numbers reach it as 0.
struct DetectionRequest
{
    FileURL videoURL;
    double skipStartSeconds = 0;
    FadeRemovalStrategy fadeRemovalStrategy = FadeRemovalStrategy::defaultValue;
    FadePaddingSettings fadePadding = fadeRemovalStrategy.defaultPaddingSettings();
};

/// The detector's argument vector after the interpreter.
[[nodiscard]] QStringList detectorArguments(const FileURL& detectorScriptURL, const DetectionRequest& request);

/// A finished request: the payload, or the exception that `detectSync` threw.
using DetectionResult = std::variant<DetectorPayload, std::exception_ptr>;

/// Runs the detector once for each request and decodes what it prints. Keeps nothing between requests.
class DetectorService final
{
public:
    /// One line of the detector's standard error, trimmed and never empty; called on the request's thread.
    using ProgressHandler = std::function<void(const QString&)>;
    /// Set to true, from any thread, it ends this request's detector as `stopAll` ends all of them.
    using Cancellation = std::shared_ptr<const std::atomic<bool>>;
    /// Called once, on the request's thread.
    using CompletionHandler = std::function<void(const DetectionResult&)>;

    explicit DetectorService(RuntimeConfiguration runtime)
        : m_runtime(std::move(runtime))
    {}

    /// Blocks until the detector has ended; needs no event loop and has no time limit. Throws AppRuntimeError for a
    /// failed detector and for output that is no payload, ProcessLaunchError when the interpreter cannot be started.
    [[nodiscard]] DetectorPayload detectSync(const DetectionRequest& request, const ProgressHandler& progress = {},
                                             const Cancellation& cancellation = {}) const;

    /// The same on a background thread; returns at once. Both handlers run there. The service may be gone by then.
    void detect(const DetectionRequest& request, const ProgressHandler& progress, const CompletionHandler& completion,
                const Cancellation& cancellation = {}) const;

    /// Ends every running detector, SIGTERM first and SIGKILL after the grace period, and refuses further ones: the
    /// orderly end of Kestrel. May be called from a signal handler; returns at once.
    static void stopAll() noexcept;
    /// Returns when no request runs in the background any more.
    static void waitForAll();

private:
    RuntimeConfiguration m_runtime;
};
