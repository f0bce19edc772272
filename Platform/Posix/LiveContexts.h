// What a test asks about authorization contexts: is one left over? Internal to the platform and to tests.
#pragma once

// Contexts that have been made and not been freed. Any thread.
unsigned LiveClientContexts();
