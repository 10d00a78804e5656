// The device's form factor: a tablet gets rounded corners on the display and
// the received text and a squelch default of -20; a phone square corners, a
// squelch default of -30 and the speaker as its default output. The values
// are the platform's user-interface idioms (0 phone, 1 tablet).
#pragma once

enum class FormFactor { phone = 0, tablet = 1 };
