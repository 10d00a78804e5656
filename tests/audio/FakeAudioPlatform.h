// A scripted audio platform for engine tests: records every call in order as
// one short text ("queueEnqueueBuffer 3"), returns the status the test chose
// for each operation, and hands out numbered buffer handles.
#pragma once

#include "audio/AudioPlatform.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

class FakeAudioPlatform final : public AudioPlatform {
public:
    explicit FakeAudioPlatform(std::optional<int> idiom = 1) : idiom(idiom) {}

    // Status returned by a call: the entry for its whole text
    // ("outputEnableIO 2 0 1") if there is one, else for its operation name,
    // else 0.
    std::map<std::string, int32_t> statuses;
    // 1-based number of the buffer whose allocation fails, 0 for none.
    int failAllocationOf = 0;
    int32_t allocationStatus = -108;
    bool componentFound = true;
    bool instanceMade = true;

    std::vector<std::string> calls;
    AudioStreamFormat inputFormat{};
    AudioStreamFormat outputFormat{};
    InterruptionListener listener = nullptr;
    InputCallback inputCallback = nullptr;
    RenderCallback renderCallback = nullptr;
    void* context = nullptr;

    // Calls whose text starts with `prefix`.
    int count(const std::string& prefix) const {
        int n = 0;
        for (const std::string& call : calls) {
            n += call.rfind(prefix, 0) == 0 ? 1 : 0;
        }
        return n;
    }

    std::optional<int> userInterfaceIdiom() override { return idiom; }
    int32_t sessionInitialize(InterruptionListener l, void* c) override {
        listener = l;
        context = c;
        return record("sessionInitialize");
    }
    int32_t sessionSetCategoryPlayAndRecord() override {
        return record("sessionSetCategoryPlayAndRecord");
    }
    int32_t sessionSetDefaultToSpeaker(uint32_t enable) override {
        return record("sessionSetDefaultToSpeaker", std::to_string(enable));
    }
    int32_t sessionOverrideRouteToSpeaker(bool speaker) override {
        return record("sessionOverrideRouteToSpeaker", speaker ? "speaker" : "none");
    }
    int32_t sessionSetActive(bool active) override {
        return record("sessionSetActive", active ? "true" : "false");
    }
    int32_t queueNewInput(const AudioStreamFormat& format, InputCallback callback, void* c,
                          AudioHandle* queue) override {
        inputFormat = format;
        inputCallback = callback;
        context = c;
        const int32_t status = record("queueNewInput");
        *queue = status == 0 ? &queueObject : nullptr;
        return status;
    }
    int32_t queueAllocateBuffer(AudioHandle, uint32_t byteSize, AudioHandle* buffer) override {
        const int number = ++allocated;
        calls.push_back("queueAllocateBuffer " + std::to_string(byteSize));
        if (number == failAllocationOf) {
            return allocationStatus;
        }
        *buffer = &bufferObjects[number - 1];
        return 0;
    }
    int32_t queueEnqueueBuffer(AudioHandle, AudioHandle buffer) override {
        return record("queueEnqueueBuffer", std::to_string(bufferNumber(buffer)));
    }
    int32_t queueStart(AudioHandle) override { return record("queueStart"); }
    bool outputFindComponent() override {
        calls.push_back("outputFindComponent");
        return componentFound;
    }
    int32_t outputInstanceNew(AudioHandle* unit) override {
        const int32_t status = record("outputInstanceNew");
        *unit = instanceMade ? &unitObject : nullptr;
        return status;
    }
    int32_t outputEnableIO(AudioHandle, uint32_t scope, uint32_t element,
                           uint32_t enable) override {
        return record("outputEnableIO", std::to_string(scope) + " " + std::to_string(element) +
                                            " " + std::to_string(enable));
    }
    int32_t outputSetRenderCallback(AudioHandle, RenderCallback callback, void* c) override {
        renderCallback = callback;
        context = c;
        return record("outputSetRenderCallback");
    }
    int32_t outputSetStreamFormat(AudioHandle, const AudioStreamFormat& format) override {
        outputFormat = format;
        return record("outputSetStreamFormat");
    }
    int32_t outputInitialize(AudioHandle) override { return record("outputInitialize"); }
    int32_t outputStart(AudioHandle) override { return record("outputStart"); }
    int32_t outputStop(AudioHandle) override { return record("outputStop"); }

    // 1-based number of a handle from queueAllocateBuffer, 0 for others.
    int bufferNumber(AudioHandle buffer) const {
        for (int i = 0; i < 16; ++i) {
            if (buffer == &bufferObjects[i]) {
                return i + 1;
            }
        }
        return 0;
    }
    AudioHandle buffer(int number) { return &bufferObjects[number - 1]; }

private:
    int32_t record(const std::string& name, const std::string& arguments = "") {
        const std::string call = arguments.empty() ? name : name + " " + arguments;
        calls.push_back(call);
        auto found = statuses.find(call);
        if (found == statuses.end()) {
            found = statuses.find(name);
        }
        return found == statuses.end() ? 0 : found->second;
    }

    std::optional<int> idiom;
    int allocated = 0;
    char queueObject = 0;
    char unitObject = 0;
    char bufferObjects[16] = {};
};
