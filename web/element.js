/** An element with properties and children, strings among them. */
export function element(tag, properties = {}, ...children) {
  const made = document.createElement(tag);
  for (const [name, value] of Object.entries(properties))
    if (name === 'role' || name.startsWith('aria-'))
      made.setAttribute(name, value);
    else
      made[name] = value;
  made.append(...children);
  return made;
}
