// The user who runs the program.
#pragma once

enum { OX_USER_NAME_SIZE = 256 };

/// Its name. The local file of users is asked first: a name service is slow to start. False where it has
/// none.
bool ox_user_name(char name[OX_USER_NAME_SIZE]);
