// One writer of the settings at a time.
#pragma once

namespace tonvale_answers {

// What is in the users file and in the custom keys stays as it is read for as long as the object
// lives, for all who take this lock before they read in order to write. It is a lock on a file
// beside the users file, which the kernel gives back whatever becomes of its holder. Throws a
// Failure when the file cannot be opened, and when others held it for three seconds.
class SettingsLock {
  public:
    SettingsLock();
    ~SettingsLock();
    SettingsLock(const SettingsLock &) = delete;
    SettingsLock &operator=(const SettingsLock &) = delete;

  private:
    int fd_;
};

}  // namespace tonvale_answers
