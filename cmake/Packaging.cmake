# Installation and packages.
