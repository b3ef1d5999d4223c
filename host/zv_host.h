#pragma once

// Everything of the host surface, for an application that embeds the module.
