#pragma once

class QAbstractButton;
class QLineEdit;
class QString;

// What a user's fingers do to the editors' widgets.
namespace Fingers {

// Clears the field with the keyboard and types `text`, through the field's validator.
void retype(QLineEdit* field, const QString& text);
// Where a finger taps a radio button: on its indicator, not in the empty part of a wide cell.
void tap(QAbstractButton* button);

} // namespace Fingers
