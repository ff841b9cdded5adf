// Colours by theme; every clock has a fixed one.

const PALETTES = {
  light: ["#1f5fbf", "#c2410c", "#0f7b4f", "#9333a8", "#b4232f", "#0e7490", "#7a5c00", "#4d4fbf",
    "#a3195b", "#3f6212", "#7c3f1d", "#005f73", "#6d28d9", "#8a4b00", "#475569", "#be185d"],
  dark: ["#6ea8ff", "#ff9d5c", "#4fd19a", "#d59bf6", "#ff8087", "#4ccfe6", "#e0c14a", "#a5a8ff",
    "#ff86b8", "#a8cf5b", "#dda080", "#63c7c7", "#bfa0ff", "#f0b46a", "#a9b7c9", "#ff9bd0"],
};

let theme = matchMedia("(prefers-color-scheme: dark)").matches ? "dark" : "light";

function styleOf(name) {
  return getComputedStyle(document.documentElement).getPropertyValue("--" + name).trim();
}

/** The master is the reference: it has the colour of the text. */
function colourOf(name) {
  if (name === "master") return styleOf("muted");
  const index = clocks.filter((clock) => clock.name !== "master").findIndex((clock) => clock.name === name);
  return PALETTES[theme][Math.max(index, 0) % PALETTES[theme].length];
}

function levelColour(level) {
  return styleOf(level === "info" ? "accent" : level);
}

function setTheme(wanted) {
  theme = wanted;
  document.documentElement.dataset.theme = theme;
  document.getElementById("theme").textContent = theme === "dark" ? "Light" : "Dark";
}
