#pragma once
// Key codes, shift states and mouse buttons as the window's procedures take
// them: the classic virtual-key numbering (F1 is 112, Delete 46), shift as
// 1 Shift + 2 Ctrl + 4 Alt, buttons as 1 left, 2 right, 4 middle.

#include <Qt>

namespace ui {

inline constexpr int vbKeyF1 = 112;
inline constexpr int vbKeyDelete = 46;
inline constexpr int vbRightButton = 2;

inline int vbKeyCode(int qtKey)
{
    if (qtKey >= Qt::Key_F1 && qtKey <= Qt::Key_F24)
        return vbKeyF1 + (qtKey - Qt::Key_F1);
    if ((qtKey >= Qt::Key_A && qtKey <= Qt::Key_Z) || (qtKey >= Qt::Key_0 && qtKey <= Qt::Key_9))
        return qtKey;
    switch (qtKey) {
    case Qt::Key_Delete: return vbKeyDelete;
    case Qt::Key_Insert: return 45;
    case Qt::Key_Backspace: return 8;
    case Qt::Key_Tab: return 9;
    case Qt::Key_Return:
    case Qt::Key_Enter: return 13;
    case Qt::Key_Escape: return 27;
    case Qt::Key_Space: return 32;
    case Qt::Key_PageUp: return 33;
    case Qt::Key_PageDown: return 34;
    case Qt::Key_End: return 35;
    case Qt::Key_Home: return 36;
    case Qt::Key_Left: return 37;
    case Qt::Key_Up: return 38;
    case Qt::Key_Right: return 39;
    case Qt::Key_Down: return 40;
    case Qt::Key_Shift: return 16;
    case Qt::Key_Control: return 17;
    case Qt::Key_Alt: return 18;
    default: return 0;
    }
}

inline int vbShift(Qt::KeyboardModifiers m)
{
    return (m & Qt::ShiftModifier ? 1 : 0) | (m & Qt::ControlModifier ? 2 : 0) | (m & Qt::AltModifier ? 4 : 0);
}

inline int vbButton(Qt::MouseButton b)
{
    switch (b) {
    case Qt::LeftButton: return 1;
    case Qt::RightButton: return vbRightButton;
    case Qt::MiddleButton: return 4;
    default: return 0;
    }
}

}  // namespace ui
