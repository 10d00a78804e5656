// The settings screen's way back to whoever opened it (the console): told once
// the operator has pressed the finish button and every field has been stored.
// The delegate closes the screen and applies the stored settings.
#pragma once

class SettingsDelegate {
public:
    virtual void settingsFinished() = 0;

protected:
    ~SettingsDelegate() = default;
};
