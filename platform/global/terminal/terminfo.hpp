// The system's descriptions of terminals.
#pragma once

/// What a description says of a terminal.
struct Terminfo {
    bool found;   ///< there is a description of that name
    int colors;   ///< how many it shows; 0 for none
    bool cursor;  ///< it moves the cursor and wipes the rest of a row
};
/// Reads the description. What readline has loaded stays.
Terminfo terminfo_find(const char* term);

/// To be called when readline has loaded the description: with its sequences no zeros are sent, which gave
/// slow terminals time and cost a fast line forty bytes for a key.
void terminfo_send_no_padding(void);
