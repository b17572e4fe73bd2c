// Who is logged in, and how the session logs in and out.
#pragma once

/// The current user's name, null for a guest; the password of a login by name, else null. Owned.
extern char* current_user;
extern char* current_password;
/// The user may see the system's own parameters.
extern bool system_access;
/// The session was authenticated with a token.
extern bool token_login;

/// A function run after each change of identity, once colours and prompt are up to date (the metadata cache
/// reloads).
void identity_on_change(void (*changed)(void));

/// Logs in by name, or, when that fails, with `login` as a token. `password` may be null. Returns 0, else
/// non-zero.
int login_with(const char* login, const char* password);
/// Returns 0 or the daemon's answer to the logout. Those who wait for changes are told once more behind it.
int logout_session(void);
/// Stores the identity (null: guest) and refreshes what depends on it.
void set_auth_state(const char* user, const char* password);
/// Default login as the operating-system user, over the local socket only.
void try_login(void);
/// After a jump: a login or logout that was cut off ends as a guest's session, at the daemon too.
void identity_recover(void);
/// Releases the stored texts, at the end of the program.
void identity_free(void);
