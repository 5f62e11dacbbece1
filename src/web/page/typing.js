// The device's own keyboard. The field stays empty: what is typed into it is sent instead.

const insertions = ['insertText', 'insertReplacementText', 'insertFromPaste'];
const namedKeys = [
  'Enter', 'Backspace', 'Tab', 'Escape', 'ArrowLeft', 'ArrowRight', 'ArrowUp', 'ArrowDown',
];

class Typing {
  #button;
  #field;

  constructor(button, field, send) {
    this.#button = button;
    this.#field = field;
    // iOS opens its keyboard only for a focus that a person's own tap gives.
    button.addEventListener('click', () => {
      field.value = '';
      field.focus({ preventScroll: true });
    });
    field.addEventListener('beforeinput', (event) => {
      if (!insertions.includes(event.inputType)) return;
      event.preventDefault();
      const text = event.data ?? event.dataTransfer?.getData('text/plain') ?? '';
      send({ t: 'text', s: text });
    });
    // A composition (most Android keyboards, Chinese or Japanese everywhere) cannot be prevented;
    // its result is sent when it is final.
    field.addEventListener('compositionend', (event) => {
      if (event.data) send({ t: 'text', s: event.data });
      field.value = '';
    });
    field.addEventListener('input', (event) => {
      if (!event.isComposing) field.value = '';
    });
    field.addEventListener('keydown', (event) => {
      // 229 marks a key that belongs to a composition; Safari sends it after the composition's end.
      const composes = event.isComposing || event.keyCode === 229;
      if (composes || !namedKeys.includes(event.key)) return;
      event.preventDefault();
      send({ t: 'key', k: event.key });
    });
  }

  // Whether a text field of the computer has the focus on this screen.
  offer(wanted) {
    this.#button.hidden = !wanted;
    if (!wanted) this.#field.blur();
  }
}
