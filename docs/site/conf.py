# Sphinx, run by ./dev docs on the tree that docs/site/stage.py lays out.
import os

project = "libmurn-zelk"
author = "Zelk Maintainers"
version = release = os.environ["ZELK_VERSION"]
html_title = f"libmurn-zelk {version}"
extensions = ["breathe", "myst_parser"]
breathe_projects = {"zelk": os.environ["ZELK_DOXYGEN_XML"]}
breathe_default_project = "zelk"
breathe_domain_by_extension = {"h": "c", "hpp": "cpp"}
myst_heading_anchors = 4
myst_enable_extensions = []
exclude_patterns = []
html_theme = "furo"
html_static_path = [os.environ["ZELK_SITE_STATIC"]]
html_css_files = ["site.css"]
html_copy_source = False
html_show_sphinx = False
highlight_language = "none"
nitpicky = True
nitpick_ignore_regex = [("cpp:identifier", r"zelk|std.*|zelkCharFilter|DvbCode_t|dvbCharSet_t"), ("c:identifier", r"size_t|u?int\d+_t")]
suppress_warnings = ["myst.header"]
