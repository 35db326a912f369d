// Tells the first instance of a program from later ones by a named event that the first keeps open.
#pragma once

#include "platform/types.h"

namespace tv {

class SingleInstanceXP {
 public:
  SingleInstanceXP() = default;
  ~SingleInstanceXP();
  SingleInstanceXP(const SingleInstanceXP&) = delete;
  SingleInstanceXP& operator=(const SingleInstanceXP&) = delete;

  // Creates the event "Global\Brellick_App_<name>" or "Local\Brellick_App_<name>" and keeps it for
  // the life of this object. FALSE when it already existed (another instance holds it) or could
  // not be created. Asked again, an object that holds the event answers TRUE.
  BOOL IsFirstInstance(BOOL global, const wchar_t* name);

 private:
  void* event_ = nullptr;
};

}  // namespace tv
